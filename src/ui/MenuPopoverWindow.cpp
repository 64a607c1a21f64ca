#include "MenuPopoverWindow.h"

#include "power/YYSystemBatteryReport.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QKeyEvent>

MenuPopoverWindow::MenuPopoverWindow(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::NoDropShadowWindowHint) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating, false);
    setWindowTitle(QStringLiteral("Lumenstat"));
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

bool MenuPopoverWindow::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate)
        emit resignedKey();
    return QWidget::event(event);
}

void MenuPopoverWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        emit escapePressed();
        return;
    }
    QWidget::keyPressEvent(event);
}
