#pragma once

#include <QWidget>

class ActivityObject;
class ContentView;

// The floating window as the settings make it, drawn inside the settings page: its mode's
// size and layout, its background at the chosen opacity over a checkered desktop, its
// shadow and its time display.
class FloatWindowPreview : public QWidget {
    Q_OBJECT
public:
    explicit FloatWindowPreview(QWidget* parent = nullptr);

    // Re-reads the floating window's settings.
    void reload();
    void activityDidUpdate(const ActivityObject& activity);
    ContentView* contentView() const { return view_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QRect windowRect() const;

    ContentView* view_;
};
