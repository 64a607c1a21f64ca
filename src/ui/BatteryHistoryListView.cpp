#include "BatteryHistoryListView.h"

#include "HomeStyle.h"
#include "platform/DecimalText.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QColorSpace>
#include <QColorTransform>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

namespace {

constexpr int kInset = 16;

// The figures' colours are given in Display P3; the panel draws in sRGB.
QColor fromDisplayP3(int r, int g, int b) {
    static const QColorTransform toSrgb =
        QColorSpace(QColorSpace::DisplayP3).transformationToColorSpace(QColorSpace::SRgb);
    return toSrgb.map(QColor(r, g, b));
}

// A bin with a lid.
void drawTrash(QPainter& p, const QRectF& box, const QColor& colour) {
    p.save();
    p.translate(box.center() - QPointF(7, 8));
    p.setPen(QPen(colour, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawLine(QPointF(1, 3.5), QPointF(13, 3.5));
    p.drawLine(QPointF(5, 3.5), QPointF(5.6, 1.2));
    p.drawLine(QPointF(5.6, 1.2), QPointF(8.4, 1.2));
    p.drawLine(QPointF(8.4, 1.2), QPointF(9, 3.5));
    QPainterPath bin;
    bin.moveTo(2.6, 3.5);
    bin.lineTo(3.6, 15);
    bin.lineTo(10.4, 15);
    bin.lineTo(11.4, 3.5);
    p.drawPath(bin);
    p.drawLine(QPointF(5.8, 6.5), QPointF(6, 12.2));
    p.drawLine(QPointF(8.2, 6.5), QPointF(8, 12.2));
    p.restore();
}

} // namespace

double BatteryHistoryListView::healthFigure(const BatteryHealthLogger::Item& item) {
    if (item.maxCapacity == 0)
        return 0;
    return std::max(0.0, double(item.fullCapacity) / double(item.maxCapacity));
}

QColor BatteryHistoryListView::healthColor(double health) {
    if (health > 0.8)
        return fromDisplayP3(34, 164, 50);
    if (health > 0.7)
        return fromDisplayP3(239, 181, 13);
    return fromDisplayP3(255, 69, 58);
}

QString BatteryHistoryListView::healthText(const BatteryHealthLogger::Item& item) {
    return decimalText(healthFigure(item) * 100, 2) + QLatin1Char('%');
}

QString BatteryHistoryListView::cycleText(const BatteryHealthLogger::Item& item) {
    return QString::number(item.cycle) + QLatin1Char('c');
}

BatteryHistoryListView::BatteryHistoryListView(QWidget* parent) : QAbstractScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setAutoFillBackground(false);
    viewport()->setMouseTracking(true);
    verticalScrollBar()->setSingleStep(kRowHeight / 2);
    verticalScrollBar()->setStyleSheet(HomeStyle::thinScrollBarStyle());
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        verticalScrollBar()->setStyleSheet(HomeStyle::thinScrollBarStyle());
        viewport()->update();
    });
}

void BatteryHistoryListView::setItems(std::vector<BatteryHealthLogger::Item> items) {
    items_ = std::move(items);
    hoveredRow_ = -1;
    updateScrollRange();
    viewport()->update();
}

const BatteryHealthLogger::Item& BatteryHistoryListView::itemAtRow(int row) const {
    return items_[items_.size() - 1 - size_t(row)];
}

QRect BatteryHistoryListView::deleteButtonRect(int row) const {
    const int top = row * kRowHeight - verticalScrollBar()->value();
    return QRect(viewport()->width() - kInset - 28, top + (kRowHeight - 28) / 2, 28, 28);
}

void BatteryHistoryListView::updateScrollRange() {
    QScrollBar* bar = verticalScrollBar();
    bar->setPageStep(viewport()->height());
    bar->setRange(0, std::max(0, rowCount() * kRowHeight - viewport()->height()));
}

void BatteryHistoryListView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    updateScrollRange();
}

int BatteryHistoryListView::rowAt(QPoint point) const {
    if (point.y() < 0)
        return -1;
    const int row = (point.y() + verticalScrollBar()->value()) / kRowHeight;
    return row < rowCount() ? row : -1;
}

void BatteryHistoryListView::mouseMoveEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    const int row = rowAt(at);
    const bool onDelete = row >= 0 && deleteButtonRect(row).contains(at);
    if (row != hoveredRow_ || onDelete != hoveringDelete_) {
        hoveredRow_ = row;
        hoveringDelete_ = onDelete;
        viewport()->setCursor(onDelete ? Qt::PointingHandCursor : Qt::ArrowCursor);
        viewport()->update();
    }
}

void BatteryHistoryListView::mouseReleaseEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    const int row = rowAt(at);
    if (event->button() == Qt::LeftButton && row >= 0 && deleteButtonRect(row).contains(at) &&
        deleteHandler)
        deleteHandler(row);
}

void BatteryHistoryListView::leaveEvent(QEvent*) {
    hoveredRow_ = -1;
    hoveringDelete_ = false;
    viewport()->update();
}

void BatteryHistoryListView::paintEvent(QPaintEvent* event) {
    QPainter p(viewport());
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const int offset = verticalScrollBar()->value();
    const int first = std::max(0, (event->rect().top() + offset) / kRowHeight);
    const int last = std::min(rowCount() - 1, (event->rect().bottom() + offset) / kRowHeight);
    const QColor text = DynamicColor::dynamicTextColor();
    const QColor secondary = DynamicColor::dynamicSecondaryTextColor();
    const QColor separator = DynamicColor::dynamicSeparatorColor();
    const QFont dateFont = MenuDrawing::appFont(14, QFont::DemiBold);
    const QFont captionFont = MenuDrawing::systemFont(9, QFont::Bold);
    const QFont figureFont = MenuDrawing::appFont(13, QFont::DemiBold);
    const int w = viewport()->width();
    const QString healthCaption =
        Language::getLocalizedString(QStringLiteral("batteryHistory.cell.HEALTH"));
    const QString cycleCaption =
        Language::getLocalizedString(QStringLiteral("batteryHistory.cell.CYCLE"));
    for (int row = first; row <= last; ++row) {
        const BatteryHealthLogger::Item& item = itemAtRow(row);
        const QRect r(0, row * kRowHeight - offset, w, kRowHeight);
        if (row == hoveredRow_)
            p.fillRect(r.adjusted(4, 1, -4, -1),
                       DynamicColor::dynamicTableSecondaryBackgroundColor());
        p.setFont(dateFont);
        p.setPen(text);
        p.drawText(QRect(kInset, r.top(), 100, r.height()), Qt::AlignLeft | Qt::AlignVCenter,
                   item.date);
        // Two figure columns: caption above value.
        const int columnWidth = std::max(40, (w - 2 * kInset - 100 - 36) / 2);
        const std::tuple<QString, QString, QColor> figures[] = {
            {healthCaption, healthText(item), healthColor(healthFigure(item))},
            {cycleCaption, cycleText(item), text}};
        int x = kInset + 100;
        for (const auto& [caption, value, colour] : figures) {
            p.setFont(HomeStyle::fitted(captionFont, caption, columnWidth - 4));
            p.setPen(secondary);
            p.drawText(QRect(x, r.top() + 7, columnWidth - 4, 14), Qt::AlignLeft | Qt::AlignVCenter,
                       caption);
            p.setFont(HomeStyle::fitted(figureFont, value, columnWidth - 4));
            p.setPen(colour);
            p.drawText(QRect(x, r.top() + 21, columnWidth - 4, 20),
                       Qt::AlignLeft | Qt::AlignVCenter, value);
            x += columnWidth;
        }
        const QRect button = deleteButtonRect(row);
        const bool hot = row == hoveredRow_ && hoveringDelete_;
        drawTrash(p, button, hot ? healthColor(0) : secondary);
        if (row + 1 < rowCount())
            p.fillRect(QRect(kInset, r.bottom(), w - kInset, 1), separator);
    }
}
