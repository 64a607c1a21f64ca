#include "NetBox.h"

#include "HomeStyle.h"
#include "menubar/StockView_T.h"
#include "network/SpeedText.h"
#include "platform/DecimalText.h"
#include "settings/NotificationCenter.h"

#include <QPainter>
#include <QPainterPath>

namespace {
constexpr qreal kStockTop = 44;
constexpr qreal kStockHeight = 54;
} // namespace

NetBox::NetBox(QWidget* parent) : QWidget(parent) {
    setFixedHeight(kHeight);
    sent_.stock = new StockView_T(QStringLiteral("app.stock.network.sent"), this);
    received_.stock = new StockView_T(QStringLiteral("app.stock.network.received"), this);
    for (StockView_T* stock : {sent_.stock, received_.stock}) {
        stock->cornerRadius = 6;
        stock->setAnimated(true);
        connect(stock, &StockView_T::needsDisplay, this, qOverload<>(&QWidget::update));
    }
    setColumn(sent_, 0, 0, 0);
    setColumn(received_, 0, 0, 0);
    applyColours();
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        applyColours();
        update();
    });
}

NetBox::~NetBox() = default;

void NetBox::applyColours() {
    sent_.stock->setLineColor(DynamicColor::dynamicStockRedColor());
    received_.stock->setLineColor(DynamicColor::dynamicStockBlueColor());
}

QString NetBox::totalText(uint64_t totalKB) {
    const uint64_t shown = totalKB >> 10;
    if (shown < 1025)
        return QString::number(shown) + QStringLiteral(" KB");
    return decimalText(static_cast<double>(shown) / 1024.0, 2) + QStringLiteral(" MB");
}

QString NetBox::totalLineText(uint64_t totalKB, uint64_t averageKB) {
    const SpeedText::ValueAndUnit average = SpeedText::fixed(averageKB);
    QString unit = average.unit;
    unit.remove(QStringLiteral("/s"));
    return totalText(totalKB) + QStringLiteral(" \u2022 AVG: ") + average.value + QLatin1Char(' ') +
           unit;
}

void NetBox::setColumn(Column& column, uint64_t pace, uint64_t total, uint64_t average) {
    const SpeedText::ValueAndUnit text = SpeedText::fixed(pace);
    column.pace = text.value;
    column.unit = text.unit;
    column.line = totalLineText(total, average);
}

void NetBox::networkActivityDidUpdate(const ActivityRecord& record) {
    const NetActivities average =
        record->avgActivitiesForLastSeconds(static_cast<int>(sent_.stock->length));
    setColumn(sent_, record->paceActivities.up, record->netActivities.up, average.up);
    setColumn(received_, record->paceActivities.down, record->netActivities.down, average.down);
    sent_.stock->append(record->paceActivities.up);
    received_.stock->append(record->paceActivities.down);
    update();
}

void NetBox::storeFrequencies() {
    sent_.stock->storeFrequencies();
    received_.stock->storeFrequencies();
}

void NetBox::resizeEvent(QResizeEvent*) {
    const qreal half = width() / 2.0;
    const qreal inner = half - 2 * HomeStyle::kMargin;
    sent_.stock->setFrame(QRectF(HomeStyle::kMargin, kStockTop, inner, kStockHeight));
    received_.stock->setFrame(QRectF(half + HomeStyle::kMargin, kStockTop, inner, kStockHeight));
}

void NetBox::paintColumn(QPainter& p, const Column& column, bool upload, const QRectF& area) const {
    MenuDrawing::strokeImage(
        p, upload ? MenuDrawing::uploadArrowPath() : MenuDrawing::downloadArrowPath(),
        area.topLeft() + QPointF(0, 8), column.stock->lineColor());

    // The pace, large, and its unit beside it.
    const QFont paceFont = MenuDrawing::appFont(24, QFont::Bold);
    const QFont unitFont = MenuDrawing::systemFont(10, QFont::Bold);
    const qreal baseline = area.top() + 30;
    const qreal paceLeft = area.left() + 18;
    const qreal unitWidth = QFontMetricsF(unitFont).horizontalAdvance(column.unit);
    const QFont shownPace =
        HomeStyle::fitted(paceFont, column.pace, area.right() - paceLeft - unitWidth - 4);
    p.setFont(shownPace);
    p.setPen(DynamicColor::dynamicTextColor());
    p.drawText(QPointF(paceLeft, baseline), column.pace);
    const qreal paceWidth = QFontMetricsF(shownPace).horizontalAdvance(column.pace);
    p.setFont(unitFont);
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(QPointF(paceLeft + paceWidth + 3, baseline), column.unit);

    // The sparkline on its own rounded ground.
    const QRectF stock = column.stock->frame();
    QPainterPath ground;
    ground.addRoundedRect(stock, column.stock->cornerRadius, column.stock->cornerRadius);
    p.fillPath(ground, DynamicColor::dynamicSegmentedControlBackgroundColor());
    p.save();
    p.setClipPath(ground);
    column.stock->paint(p);
    p.restore();

    // Total and average under it.
    const QFont lineFont =
        HomeStyle::fitted(MenuDrawing::systemFont(10, QFont::Medium), column.line, area.width());
    p.setFont(lineFont);
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(QRectF(area.left(), stock.bottom() + 6, area.width(), 16),
               Qt::AlignLeft | Qt::AlignVCenter, column.line);
}

void NetBox::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const qreal half = width() / 2.0;
    const qreal inner = half - 2 * HomeStyle::kMargin;
    paintColumn(p, sent_, true, QRectF(HomeStyle::kMargin, 4, inner, height() - 8));
    paintColumn(p, received_, false, QRectF(half + HomeStyle::kMargin, 4, inner, height() - 8));
    // A hairline between the columns.
    p.setPen(QPen(DynamicColor::dynamicSeparatorColor(), 0.5));
    p.drawLine(QPointF(half, 12), QPointF(half, height() - 12));
}
