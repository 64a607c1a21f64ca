#include "StorageBox.h"

#include "HomeStyle.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "system/StorageUsageProvider.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

StorageBox::StorageBox(QWidget* parent) : QWidget(parent) {
    setFixedHeight(kHeight);
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
    reloadData();
}

void StorageBox::reloadData() {
    const double share = StorageUsageProvider::getStorageUsagePercentage();
    const bool readable =
        std::isfinite(share) && StorageUsageProvider::getTotalCapacityInBytes() > 0;
    percentage = readable ? std::clamp(share, 0.0, 1.0) : 0.0;
    totalAttributedString = StorageUsageProvider::getCapacity();
    usedAttributedString = StorageUsageProvider::getUsedStorage();
    availableAttributedString = StorageUsageProvider::getAvailableStorage();
    update();
}

QRectF StorageBox::barRect() const {
    return QRectF(HomeStyle::kMargin, 38, width() - 2 * HomeStyle::kMargin, 10);
}

void StorageBox::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const qreal inner = width() - 2 * HomeStyle::kMargin;
    if (drawsBackground)
        p.fillRect(rect(), DynamicColor::dynamicTableSecondaryBackgroundColor());
    if (drawsSeparator) {
        p.setPen(QPen(DynamicColor::dynamicSeparatorColor(), 0.5));
        p.drawLine(QPointF(HomeStyle::kMargin, 0.5), QPointF(width() - HomeStyle::kMargin, 0.5));
    }
    if (drawsTitle) {
        const QRectF titleRect(HomeStyle::kMargin, 12, inner, 14);
        HomeStyle::drawHeading(p, titleRect,
                               Language::getLocalizedString(QStringLiteral("STORAGE")));
        p.setFont(MenuDrawing::appFont(11, QFont::Medium));
        p.setPen(DynamicColor::dynamicSecondaryTextColor());
        p.drawText(titleRect.adjusted(0, -2, 0, 0), Qt::AlignRight | Qt::AlignTop,
                   totalAttributedString);
    }

    // The bar: a track and the used share filled with a gradient from the accent to red.
    const QRectF bar = barRect();
    QPainterPath track;
    track.addRoundedRect(bar, bar.height() / 2, bar.height() / 2);
    p.fillPath(track, DynamicColor::dynamicSegmentedControlBackgroundColor());
    if (percentage > 0) {
        QLinearGradient gradient(bar.topLeft(), bar.topRight());
        gradient.setColorAt(0, DynamicColor::dynamicTintColor());
        gradient.setColorAt(1, DynamicColor::dynamicStockRedColor());
        QPainterPath used;
        used.addRect(QRectF(bar.left(), bar.top(), bar.width() * percentage, bar.height()));
        p.fillPath(track.intersected(used), gradient);
    }

    // Used on the left, available on the right.
    const qreal top = bar.bottom() + 16;
    const qreal half = inner / 2;
    const std::pair<const char*, QString> columns[] = {
        {"storage.USED", usedAttributedString}, {"storage.AVAILABLE", availableAttributedString}};
    for (int i = 0; i < 2; ++i) {
        const Qt::Alignment side = i == 0 ? Qt::AlignLeft : Qt::AlignRight;
        const QRectF column(HomeStyle::kMargin + i * half, top, half, 14);
        p.setFont(HomeStyle::headingFont());
        p.setPen(DynamicColor::dynamicSecondaryTextColor());
        p.drawText(column, side | Qt::AlignTop,
                   Language::getLocalizedString(QLatin1String(columns[i].first)));
        p.setFont(HomeStyle::fitted(MenuDrawing::appFont(18, QFont::DemiBold), columns[i].second,
                                    half - 4));
        p.setPen(DynamicColor::dynamicTextColor());
        p.drawText(QRectF(column.left(), top + 14, half, 30), side | Qt::AlignVCenter,
                   columns[i].second);
    }
}
