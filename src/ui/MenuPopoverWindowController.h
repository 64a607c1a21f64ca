#pragma once

#include "PanelPlacement.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPoint>
#include <QPointer>

#include <functional>

class ContentViewController;
class MenuPopoverWindow;
class QWidget;

// Owns the panel window of a status item and the page it hosts. The window is made on
// first showing and kept; the page (embedViewController) must be set before that.
class MenuPopoverWindowController : public QObject {
    Q_OBJECT
public:
    explicit MenuPopoverWindowController(QObject* parent = nullptr);
    ~MenuPopoverWindowController() override;

    // The hosted page; the controller takes ownership when the window is made.
    QPointer<QWidget> embedViewController;
    // The content size the window takes on its first showing.
    std::function<QSize()> contentSize;

    // The window, made on first use. Stops the process when there is no page to host.
    MenuPopoverWindow* window();
    bool hasWindow() const { return window_ != nullptr; }
    ContentViewController* contentViewController() const { return content_; }

    bool isShown() const { return isShown_; }
    // Hangs the window from point (see PanelPlacement), brings it to the front with the
    // keyboard focus and marks the panel shown.
    void showAt(QPoint point, PanelEdge edge = PanelEdge::Unknown);
    // A click on the item: closes a shown panel, else shows it. A click that arrives right
    // after the same click closed the panel (it landed outside the popup) does not reopen it.
    void toggleAt(QPoint point, PanelEdge edge = PanelEdge::Unknown);
    // Hides the window, pops every page back to the home page and clears isShown.
    void close();

    // The background follows "WantsBlurBackground" where translucency can show.
    void updateBackground();

signals:
    void didShow();
    void didClose();

private:
    void windowHidden();
    void popPages();

    MenuPopoverWindow* window_ = nullptr;
    ContentViewController* content_ = nullptr;
    bool isShown_ = false;
    bool shownOnce_ = false;
    bool explicitClose_ = false;
    QElapsedTimer sinceClose_;
};
