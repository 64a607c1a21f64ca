#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include <functional>

class ActivityObject;
class QPropertyAnimation;
class TabBarController;
class TitleView;

// The base of every page that slides up over the panel's home page and back down when it is
// dismissed. A page has a title bar with a back button (which dismisses it), paints the
// palette's content background and swallows the mouse and the scroll wheel, so nothing falls
// through to the page underneath.
class TransitionController : public QWidget {
    Q_OBJECT
public:
    explicit TransitionController(QWidget* parent = nullptr);
    ~TransitionController() override;

    QString title() const;
    void setTitle(const QString& title);
    TitleView* titleView() const { return titleView_; }
    // The enclosing tab page, when this page is one of its tabs.
    QPointer<TabBarController> tabBarController;

    // The area below the title bar, where subclasses lay out their content.
    QRect contentRect() const;

    // Slides the page up from parent's bottom edge until it covers parent, and makes the
    // panel window take the home panel's size.
    void present(QWidget* parent);
    // Slides the page back down; when the slide ends the page is removed and deleted. Works
    // mid-way through the presenting slide.
    void dismiss();
    bool isDismissing() const { return dismissing_; }

    // The home page hands each tick's record to its child pages; pages that show live
    // connection details override this.
    virtual void activityDidUpdate(const ActivityObject& record) { Q_UNUSED(record); }

    // Length of the slides in milliseconds (0: the page jumps, as tests like it).
    static int animationDuration;

signals:
    void presented();
    // Right before the page is deleted at the end of dismiss().
    void dismissed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    // Lays the subclass's content out in contentRect(); called on every resize.
    virtual void layoutContent() {}

private:
    void slideTo(int y, std::function<void()> done);
    void updateWindowSize();

    TitleView* titleView_;
    QPropertyAnimation* animation_ = nullptr;
    bool dismissing_ = false;
};
