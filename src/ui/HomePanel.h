#pragma once

#include "PanelPlacement.h"

#include <QObject>
#include <QPoint>
#include <QPointer>

#include <functional>
#include <optional>

class MenuPopoverWindowController;
class NetViewController;
class TransitionController;

// The network item's panel: the panel window with the home page in it, both made on the
// first showing and kept. Clicks on the tray item, a panel plug-in's ShowPanel and a second
// start of the app all come here.
class HomePanel : public QObject {
    Q_OBJECT
public:
    static HomePanel& shared();
    explicit HomePanel(QObject* parent = nullptr);
    ~HomePanel() override;

    // Toggles the panel at a click (tray item or plug-in).
    void toggleAt(QPoint point, PanelEdge edge = PanelEdge::Unknown);
    // Opens the panel (a second start): at the last click when there was one, else at the
    // top right of the screen under the pointer, where trays usually sit.
    void show();
    bool isShown() const;

    // Keeps the home page's sparklines (before sleep); nothing when no page exists yet.
    void storeFrequencies();

    // The floating window's switch in the footer.
    std::function<void()> toggleFloatWindow;
    // The footer's settings button.
    std::function<void()> openSettings;

    MenuPopoverWindowController* windowController() const { return controller_; }
    // The pages the home page's buttons open: the battery tab page (health, history) and
    // the per-app usage page.
    static TransitionController* makeBatteryTabPage();
    static TransitionController* makeAppUsagePage();
    NetViewController* homePage() const;

private:
    void ensurePage();

    MenuPopoverWindowController* controller_;
    QPointer<NetViewController> home_;
    std::optional<QPoint> lastPoint_;
    PanelEdge lastEdge_ = PanelEdge::Unknown;
};
