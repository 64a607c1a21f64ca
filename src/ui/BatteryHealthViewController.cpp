#include "BatteryHealthViewController.h"

#include "HomeStyle.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QScrollArea>
#include <QScrollBar>

BatteryHealthViewController::BatteryHealthViewController(BatteryHealthView::ReportSource report,
                                                         BatteryChartView::DatasetSource chart,
                                                         QWidget* parent)
    : TransitionController(parent), scrollView_(new QScrollArea(this)),
      batteryHealthView_(new BatteryHealthView(std::move(report), std::move(chart))) {
    setObjectName(QStringLiteral("BatteryHealthViewController"));
    setTitle(Language::getLocalizedString(QStringLiteral("batteryHealth.title")));
    scrollView_->setFrameShape(QFrame::NoFrame);
    scrollView_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollView_->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    scrollView_->setWidget(batteryHealthView_);
    scrollView_->viewport()->setAutoFillBackground(false);
    scrollView_->verticalScrollBar()->setStyleSheet(HomeStyle::thinScrollBarStyle());
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        scrollView_->verticalScrollBar()->setStyleSheet(HomeStyle::thinScrollBarStyle());
    });
}

void BatteryHealthViewController::layoutContent() {
    scrollView_->setGeometry(contentRect());
}
