#include "MenuPopoverWindow.h"

#include "ContentViewController.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QPainterPath>
#include <QRegion>

MenuPopoverWindow::MenuPopoverWindow(bool translucent, QWidget* parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint),
      translucent_(translucent) {
    // Decided before the native window exists: an ARGB window needs a compositor.
    if (translucent_)
        setAttribute(Qt::WA_TranslucentBackground);
    setWindowTitle(QStringLiteral("Lumenstat panel"));
    setPanelContentSize(QSize(kContentWidth, 410));
}

void MenuPopoverWindow::setPanelContentSize(QSize contentSize) {
    contentSize_ = contentSize;
    setFixedSize(windowSizeFor(contentSize));
}

QSize MenuPopoverWindow::homePanelContentSize(bool showsStorage, bool showsBattery,
                                              bool hasBattery) {
    int height = showsStorage ? 546 : 410;
    if (showsBattery && hasBattery)
        height += 140;
    return QSize(kContentWidth, height);
}

QSize MenuPopoverWindow::homePanelContentSize() {
    SettingsDomain& standard = SettingsDomain::standard();
    return homePanelContentSize(standard.boolValue(SettingsKey::ShowsHomepageStorageUsage),
                                standard.boolValue(SettingsKey::ShowsHomepageBatteryUsage),
                                YYSystemBatteryReport::hasBattery());
}

void MenuPopoverWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    emit hidden();
}

void MenuPopoverWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (translucent_)
        return;
    // Without a compositor nothing shows through: cut the window to the rounded background.
    QPainterPath rounded;
    rounded.addRoundedRect(QRectF(ContentViewController::contentFrame(size())), 16, 16);
    setMask(QRegion(rounded.toFillPolygon().toPolygon()));
}
