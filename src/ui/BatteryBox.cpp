#include "BatteryBox.h"

#include "HomeStyle.h"
#include "power/PowerPercentageChart.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>

namespace {
constexpr int kChartTop = 26;
}

BatteryBox::BatteryBox(BatteryChartView::DatasetSource source, QWidget* parent)
    : QWidget(parent), scroller_(new QScrollArea(this)),
      visualView_(new BatteryChartView(std::move(source))) {
    setFixedHeight(kHeight);
    scroller_->setFrameShape(QFrame::NoFrame);
    scroller_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller_->setWidgetResizable(false);
    scroller_->viewport()->setAutoFillBackground(false);
    scroller_->setWidget(visualView_);
    visualView_->setAutoFillBackground(false);
    visualView_->hoverHandler = [this](const QString& text, const QColor& colour) {
        hoverText_ = text;
        hoverColor_ = colour;
        update();
    };
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void BatteryBox::resizeEvent(QResizeEvent*) {
    scroller_->setGeometry(HomeStyle::kMargin, kChartTop, width() - 2 * HomeStyle::kMargin,
                           BatteryChartView::kHeight);
}

void BatteryBox::showEvent(QShowEvent*) {
    // The newest hours are on the right.
    scroller_->horizontalScrollBar()->setValue(scroller_->horizontalScrollBar()->maximum());
}

void BatteryBox::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.setPen(QPen(DynamicColor::dynamicSeparatorColor(), 0.5));
    p.drawLine(QPointF(HomeStyle::kMargin, 0.5), QPointF(width() - HomeStyle::kMargin, 0.5));
    const QRectF titleRect(HomeStyle::kMargin, 10, width() - 2 * HomeStyle::kMargin, 14);
    const QString title = Language::getLocalizedString(QStringLiteral("BATTERY USAGE"));
    HomeStyle::drawHeading(p, titleRect, title);
    // The hovered bar's text, or the span of the chart.
    const bool hovering = !hoverText_.isEmpty();
    p.setFont(hovering ? MenuDrawing::appFont(11, QFont::Medium) : HomeStyle::headingFont());
    p.setPen(hovering ? hoverColor_ : DynamicColor::dynamicSecondaryTextColor());
    p.drawText(titleRect.adjusted(0, hovering ? -1 : 0, 0, 0), Qt::AlignRight | Qt::AlignTop,
               hovering ? hoverText_ : PowerPercentageChart::chartTitle());
}
