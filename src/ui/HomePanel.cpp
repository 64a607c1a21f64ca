#include "HomePanel.h"

#include "MenuPopoverWindow.h"
#include "MenuPopoverWindowController.h"
#include "NetViewController.h"
#include "StatusViewController.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

HomePanel& HomePanel::shared() {
    static HomePanel* panel = new HomePanel;
    return *panel;
}

HomePanel::HomePanel(QObject* parent)
    : QObject(parent), controller_(new MenuPopoverWindowController(this)) {}

HomePanel::~HomePanel() = default;

void HomePanel::ensurePage() {
    if (home_)
        return;
    auto* home = new NetViewController;
    home->makeStatusPage = [] { return new StatusViewController; };
    home->toggleFloatWindow = [this] {
        if (toggleFloatWindow)
            toggleFloatWindow();
    };
    home_ = home;
    controller_->embedViewController = home;
}

void HomePanel::toggleAt(QPoint point, PanelEdge edge) {
    ensurePage();
    lastPoint_ = point;
    lastEdge_ = edge;
    controller_->toggleAt(point, edge);
}

void HomePanel::show() {
    ensurePage();
    if (controller_->isShown())
        return;
    if (lastPoint_) {
        controller_->showAt(*lastPoint_, lastEdge_);
        return;
    }
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    // The window's right edge at the area's right edge, its top at the area's top.
    const QPoint point(area.right() + 1 - MenuPopoverWindow::kContentWidth -
                           MenuPopoverWindow::kHorizontalMargin + PanelPlacement::kHangOffset,
                       area.top());
    controller_->showAt(point, PanelEdge::Top);
}

bool HomePanel::isShown() const {
    return controller_->isShown();
}

void HomePanel::storeFrequencies() {
    if (home_)
        home_->storeFrequencies();
}

NetViewController* HomePanel::homePage() const { return home_; }
