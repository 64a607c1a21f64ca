#pragma once

#include "app/AppDelegate.h"
#include "ui/ContentView.h"

#include <QColor>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QSize>

#include <functional>
#include <memory>
#include <optional>

class FloatWindow;
class WindowHints;

// Owns the floating window: a small frameless panel that stays above other windows on every
// workspace, out of the task bar and the pager, and never takes the keyboard focus. It
// feeds its ContentView from the sampler, follows the mode setting, recolours its background
// with the appearance, and keeps its place on the desktop across restarts.
class FloatWindowController : public QObject, public FloatWindowControl, public ActivityObserver {
    Q_OBJECT
public:
    struct Options {
        ContentView::Sources sources = ContentView::Sources::system();
        std::shared_ptr<WindowHints> hints; // null: the current platform's
        // The screens' available areas, the primary first; empty: QGuiApplication's screens.
        std::function<QList<QRect>()> screens;
    };

    // Loads the window (hidden) and registers with sampler; windowWillClose is called with
    // window() when the user closes the window.
    FloatWindowController(ActivitySampler& sampler,
                          std::function<void(const void* window)> windowWillClose, Options options);
    // The same over the running system's sources, hints and screens.
    FloatWindowController(ActivitySampler& sampler,
                          std::function<void(const void* window)> windowWillClose);
    ~FloatWindowController() override;

    ActivityObserver* activityObserver() override { return this; }
    void showWindow() override;
    void close() override;
    const void* window() const override;

    void networkActivityDidUpdate(const ActivityRecord& activity) override;
    // Re-reads the mode: the view's layout and the window's fixed size, keeping the window's
    // lower-left corner.
    void windowModeDidChange();

    QWidget& windowWidget();
    ContentView& contentView() { return *contentView_; }
    // The palette's content background at the stored opacity, clamped to 0.4...1.0; opaque
    // where no compositor blends translucent windows.
    QColor backgroundColor() const;
    bool translucent() const { return translucent_; }

    // Where a window of size with its top-left corner at origin goes so that it lies wholly
    // on one of screens (the primary first): unchanged when it already does, else moved
    // onto the screen it overlaps most, or the nearest one when it overlaps none.
    static QPoint placeOnScreens(QPoint origin, QSize size, const QList<QRect>& screens);
    // The first place for a window of size: the top-right corner of the primary screen,
    // 16 points in from both edges.
    static QPoint defaultOrigin(QSize size, const QList<QRect>& screens);

private:
    void recolour();
    void storeOrigin();
    QList<QRect> screens() const;

    ActivitySampler& sampler_;
    std::function<void(const void*)> windowWillClose_;
    Options options_;
    std::shared_ptr<WindowHints> hints_;
    std::unique_ptr<FloatWindow> window_;
    ContentView* contentView_ = nullptr; // owned by window_
    bool translucent_ = false;
    bool hintsApplied_ = false;
};
