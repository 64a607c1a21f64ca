#include "StatusViewController.h"

#include "menubar/MenuDrawing.h"
#include "network/ActivityObject.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"

#include <QCoreApplication>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <array>

namespace {

const std::array<const char*, 7> kRowTitles = {
    "networkStatus.macAddress",  "networkStatus.ssid",    "networkStatus.IPAddress",
    "networkStatus.security",    "networkStatus.channel", "networkStatus.strength",
    "networkStatus.transmitRate"};

// Room between the title and the subtitle; a long subtitle is shortened to keep it.
constexpr int kGap = 12;

} // namespace

StatusViewController::Box::Box(QString title, QWidget* parent)
    : QWidget(parent), title_(std::move(title)) {
    setFixedHeight(kHeight);
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void StatusViewController::Box::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::TextAntialiasing);
    const QRect text = rect().adjusted(kInset, 0, -kInset, 0);
    p.setFont(MenuDrawing::systemFont(13, QFont::Normal));
    const QColor textColour = DynamicColor::dynamicTextColor();
    p.setPen(textColour);
    const int titleWidth = std::min(p.fontMetrics().horizontalAdvance(title_), text.width());
    p.drawText(text, Qt::AlignLeft | Qt::AlignVCenter,
               p.fontMetrics().elidedText(title_, Qt::ElideRight, text.width()));
    if (subtitle && !subtitle->isEmpty()) {
        const int room = std::max(0, text.width() - titleWidth - kGap);
        p.setPen(subtitleTextColor.value_or(textColour));
        p.drawText(text, Qt::AlignRight | Qt::AlignVCenter,
                   p.fontMetrics().elidedText(*subtitle, Qt::ElideMiddle, room));
    }
    if (drawsSeparator)
        p.fillRect(QRect(kInset, height() - 1, width() - kInset, 1),
                   DynamicColor::dynamicSeparatorColor());
}

StatusViewController::StatusViewController(QWidget* parent)
    : TransitionController(parent), scrollView_(new QScrollArea(this)),
      emptyView_(new QLabel(Language::getLocalizedString("common.loading..."), this)) {
    setObjectName("StatusViewController");
    setTitle(Language::getLocalizedString("networkStatus.title"));

    auto* list = new QWidget;
    auto* column = new QVBoxLayout(list);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    for (const char* key : kRowTitles) {
        auto* box = new Box(Language::getLocalizedString(key), list);
        column->addWidget(box);
        boxes_.push_back(box);
    }
    boxes_.back()->drawsSeparator = false;
    column->addStretch();

    // The list scrolls over the page's own background.
    scrollView_->setFrameShape(QFrame::NoFrame);
    scrollView_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollView_->setWidgetResizable(true);
    scrollView_->setWidget(list);
    scrollView_->viewport()->setAutoFillBackground(false);
    list->setAutoFillBackground(false);
    scrollView_->hide();

    emptyView_->setAlignment(Qt::AlignCenter);
    emptyView_->setFont(MenuDrawing::systemFont(13, QFont::Normal));
    applyAppearance();
    DynamicAppearance::addChanged(this, [this](const Notification&) { applyAppearance(); });
}

void StatusViewController::applyAppearance() {
    QPalette palette = emptyView_->palette();
    palette.setColor(QPalette::WindowText, DynamicColor::dynamicSecondaryTextColor());
    emptyView_->setPalette(palette);
    // A thin scroll bar in the palette's colours instead of the desktop style's light one.
    QColor handle = DynamicColor::dynamicSecondaryTextColor();
    handle.setAlphaF(0.5);
    scrollView_->verticalScrollBar()->setStyleSheet(
        QStringLiteral("QScrollBar:vertical { background: transparent; width: 8px; margin: 2px; }"
                       "QScrollBar::handle:vertical { background: %1; border-radius: 2px;"
                       " min-height: 24px; }"
                       "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
                       "QScrollBar::add-page, QScrollBar::sub-page { background: none; }")
            .arg(handle.name(QColor::HexArgb)));
}

QColor StatusViewController::signalColor(long rssi) {
    if (rssi >= -59)
        return QColor(48, 209, 88);
    if (rssi >= -89)
        return QColor(255, 111, 48);
    return QColor(209, 61, 48);
}

void StatusViewController::activityDidUpdate(const ActivityObject& record) {
    if (boxes_.size() == kRowTitles.size()) {
        const std::array<const std::optional<QString>*, 7> values = {
            &record.macLocation, &record.ssid,     &record.IPLocation,  &record.security,
            &record.channel,     &record.strength, &record.transmitRate};
        for (size_t i = 0; i < values.size(); ++i)
            boxes_[i]->subtitle = *values[i];
        boxes_[kStrengthRow]->subtitleTextColor = signalColor(record.strengthValue);
    }
    for (Box* box : boxes_)
        box->update();
    if (scrollView_->isHidden()) {
        emptyView_->hide();
        scrollView_->show();
        // The scroll area shows or hides its scroll bar in a queued call; run it now, so the
        // first frame has none when the rows fit.
        QCoreApplication::sendPostedEvents(scrollView_, QEvent::MetaCall);
    }
}

void StatusViewController::layoutContent() {
    scrollView_->setGeometry(contentRect());
    emptyView_->setGeometry(contentRect());
}
