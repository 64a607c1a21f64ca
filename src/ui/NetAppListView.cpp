#include "NetAppListView.h"

#include "HomeStyle.h"
#include "network/SpeedText.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>

#include <algorithm>

namespace {

constexpr int kInset = 16;

// A rounded window with a title strip and a grid of four cells, in 44 x 44.
void drawTemplate(QPainter& p, const QColor& colour) {
    p.setPen(QPen(colour, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(4, 4, 36, 36), 9, 9);
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    for (int i = 0; i < 4; ++i)
        p.drawRoundedRect(QRectF(12 + (i % 2) * 11, 12 + (i / 2) * 11, 8, 8), 2, 2);
}

} // namespace

const QIcon& NetAppListView::placeholderIcon() {
    // Made once: the template drawn 2 points inside a 36-point square, at twice the pixels.
    static const QIcon icon = [] {
        QPixmap pixmap(kIconSize * 2, kIconSize * 2);
        pixmap.setDevicePixelRatio(2);
        pixmap.fill(Qt::transparent);
        QPainter p(&pixmap);
        p.setRenderHint(QPainter::Antialiasing);
        p.translate(2, 2);
        p.scale((kIconSize - 4) / 44.0, (kIconSize - 4) / 44.0);
        drawTemplate(p, QColor(142, 142, 147));
        return QIcon(pixmap);
    }();
    return icon;
}

QString NetAppListView::headerText(int section, size_t rows) {
    if (rows == 0)
        return Language::getLocalizedString(QStringLiteral("common.noData"));
    const char* key = section == 1 ? "dataUsage.others"
                      : rows == 1  ? "dataUsage.app"
                                   : "dataUsage.apps";
    return QString::number(rows) + QLatin1Char(' ') +
           Language::getLocalizedString(QLatin1String(key));
}

QLineF NetAppListView::barLine(const QRectF& row, double percentage) {
    const qreal y = row.center().y() + 10;
    return QLineF(72, y, 72 + 96 * percentage, y);
}

qreal NetAppListView::amountLeft(double percentage) {
    return 78 + 100 * percentage;
}

NetAppListView::NetAppListView(IconNameLookup iconName, QWidget* parent)
    : QAbstractScrollArea(parent), iconName_(std::move(iconName)) {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setAutoFillBackground(false);
    verticalScrollBar()->setSingleStep(kRowHeight / 2);
    verticalScrollBar()->setStyleSheet(HomeStyle::thinScrollBarStyle());
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        verticalScrollBar()->setStyleSheet(HomeStyle::thinScrollBarStyle());
        viewport()->update();
    });
}

void NetAppListView::setSections(std::vector<NetApp> applications, std::vector<NetApp> processes) {
    sections_ = {std::move(applications), std::move(processes)};
    updateScrollRange();
    viewport()->update();
}

QIcon NetAppListView::iconFor(const NetApp& app) {
    if (!app.bundleIdentifier || !iconName_)
        return placeholderIcon();
    auto cached = icons_.constFind(*app.bundleIdentifier);
    if (cached != icons_.constEnd())
        return *cached;
    const QString name = iconName_(*app.bundleIdentifier);
    QIcon icon;
    if (!name.isEmpty())
        icon = name.startsWith(QLatin1Char('/')) ? QIcon(name) : QIcon::fromTheme(name);
    if (icon.isNull() || icon.pixmap(kIconSize).isNull())
        icon = placeholderIcon();
    icons_.insert(*app.bundleIdentifier, icon);
    return icon;
}

int NetAppListView::rowTop(int section, int row) const {
    int top = kHeaderHeights[0];
    if (section == 1)
        top += int(sections_[0].size()) * kRowHeight + kHeaderHeights[1];
    return top + row * kRowHeight;
}

int NetAppListView::contentHeight() const {
    return rowTop(1, int(sections_[1].size()));
}

void NetAppListView::updateScrollRange() {
    QScrollBar* bar = verticalScrollBar();
    bar->setPageStep(viewport()->height());
    bar->setRange(0, std::max(0, contentHeight() - viewport()->height()));
}

void NetAppListView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    updateScrollRange();
}

void NetAppListView::paintEvent(QPaintEvent* event) {
    QPainter p(viewport());
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const int offset = verticalScrollBar()->value();
    const QRect visible = event->rect().translated(0, offset);
    const int w = viewport()->width();
    const QColor text = DynamicColor::dynamicTextColor();
    const QColor secondary = DynamicColor::dynamicSecondaryTextColor();
    const QFont nameFont = MenuDrawing::systemFont(13, QFont::Medium);
    const QFont amountFont = MenuDrawing::systemFont(13, QFont::Medium);
    p.translate(0, -offset);
    for (int s = 0; s < 2; ++s) {
        const int headerTop = rowTop(s, 0) - kHeaderHeights[size_t(s)];
        const QRect header(kInset, headerTop, w - 2 * kInset, kHeaderHeights[size_t(s)]);
        if (header.intersects(visible))
            HomeStyle::drawHeading(p, header.adjusted(0, header.height() - 18, 0, 0),
                                   headerText(s, sections_[size_t(s)].size()).toUpper());
        for (size_t r = 0; r < sections_[size_t(s)].size(); ++r) {
            const QRectF row(0, rowTop(s, int(r)), w, kRowHeight);
            if (!row.intersects(visible))
                continue;
            const NetApp& app = sections_[size_t(s)][r];
            const double share = std::clamp(app.percentage, 0.0, 1.0);
            iconFor(app).paint(&p, QRect(kInset + 8 - 2, int(row.center().y()) - kIconSize / 2,
                                         kIconSize, kIconSize));
            p.setFont(nameFont);
            p.setPen(text);
            const QRectF nameRect(72, row.top() + 8, w - 72 - kInset, 20);
            p.drawText(nameRect, Qt::AlignLeft | Qt::AlignVCenter,
                       p.fontMetrics().elidedText(app.localizedName, Qt::ElideRight,
                                                  int(nameRect.width())));
            const QLineF bar = barLine(row, share);
            p.setPen(QPen(app.tintColor.value_or(secondary), 5, Qt::SolidLine, Qt::RoundCap,
                          Qt::RoundJoin));
            p.drawLine(bar);
            p.setFont(amountFont);
            p.setPen(secondary);
            const qreal left = amountLeft(share);
            p.drawText(QRectF(left, bar.y1() - 10, std::max<qreal>(0, w - left), 20),
                       Qt::AlignLeft | Qt::AlignVCenter,
                       SpeedText::binaryByteCountText(app.bytesIn + app.bytesOut));
        }
    }
}
