// The sliding page base: interrupted slides and the mouse shield.
#include "support/Wait.h"
#include "ui/TransitionController.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPointer>
#include <QWheelEvent>

#include <gtest/gtest.h>

// Marks an event as coming from the window system, so the application hands it on to the
// parent when a widget ignores it (it does so for wheel events only when they are).
class QSpontaneKeyEvent {
public:
    static void setSpontaneous(QEvent* e) { e->setSpontaneous(); }
};

namespace {

// Runs the event loop, deferred deletions included, until pred holds.
bool settle(const std::function<bool()>& pred, int timeoutMs = 3000) {
    return waitUntil(
        [&] {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return pred();
        },
        timeoutMs);
}

class TransitionTest : public ::testing::Test {
protected:
    void SetUp() override {
        TransitionController::animationDuration = 300;
        home.resize(272, 410);
        home.show();
    }
    void TearDown() override { TransitionController::animationDuration = saved_; }
    QWidget home;

private:
    int saved_ = TransitionController::animationDuration;
};

// Dismissing while the presenting slide runs still slides the page out, then removes and
// deletes it; presenting again while it slides out keeps it.
TEST_F(TransitionTest, InterruptedSlidesEndWhereTheLastCallSays) {
    QPointer<TransitionController> page = new TransitionController;
    int dismissedAt = -1;
    QObject::connect(page, &TransitionController::dismissed, [&] { dismissedAt = page->y(); });
    page->present(&home);
    ASSERT_TRUE(waitUntil([&] { return page->y() < 380; }));
    page->dismiss();
    EXPECT_EQ(page->parentWidget(), &home) << "still on screen while it slides out";
    EXPECT_GT(page->y(), 0);
    ASSERT_TRUE(settle([&] { return page.isNull(); }));
    EXPECT_EQ(dismissedAt, 410) << "removed only once the slide reached the bottom";
    EXPECT_TRUE(home.children().isEmpty());

    page = new TransitionController;
    page->present(&home);
    ASSERT_TRUE(waitUntil([&] { return page->y() == 0; }));
    page->dismiss();
    ASSERT_TRUE(waitUntil([&] { return page->y() > 30; }));
    page->present(&home);
    ASSERT_TRUE(settle([&] { return page && page->y() == 0 && !page->isDismissing(); }));
    QThread::msleep(TransitionController::animationDuration + 50);
    settle([] { return false; }, 50);
    ASSERT_FALSE(page.isNull());
    EXPECT_EQ(page->parentWidget(), &home);
    EXPECT_EQ(page->geometry(), home.rect());
    delete page;
}

// Counts the mouse events that reach it.
struct Underneath : QWidget {
    int events = 0;
    bool event(QEvent* e) override {
        switch (e->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
        case QEvent::Wheel:
            ++events;
            e->accept();
            return true;
        default:
            return QWidget::event(e);
        }
    }
};

// Sends press, release, double click, move (with and without a button) and wheel to the
// topmost widget at point, as the window system would (an event a widget ignores goes
// on to its parent); returns how many reached `under`.
int mouseThrough(Underneath& under, QPoint point) {
    const int before = under.events;
    QWidget* target = under.childAt(point);
    if (!target)
        target = &under;
    const QPointF local = target->mapFrom(&under, point);
    const QPointF global = under.mapToGlobal(point);
    const std::pair<QEvent::Type, Qt::MouseButtons> mice[] = {
        {QEvent::MouseButtonPress, Qt::LeftButton},
        {QEvent::MouseButtonRelease, Qt::NoButton},
        {QEvent::MouseButtonDblClick, Qt::LeftButton},
        {QEvent::MouseMove, Qt::NoButton},
        {QEvent::MouseMove, Qt::LeftButton}};
    for (const auto& [type, buttons] : mice) {
        const Qt::MouseButton button =
            type == QEvent::MouseMove ? Qt::NoButton : Qt::MouseButton::LeftButton;
        QMouseEvent e(type, local, global, button, buttons, Qt::NoModifier);
        QSpontaneKeyEvent::setSpontaneous(&e);
        qApp->notify(target, &e);
    }
    QWheelEvent wheel(local, global, {}, {0, -120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QSpontaneKeyEvent::setSpontaneous(&wheel);
    qApp->notify(target, &wheel);
    return under.events - before;
}

// Nothing that happens on a page reaches the page underneath, also while the page slides out;
// the uncovered part of the page underneath keeps working.
TEST_F(TransitionTest, ThePageShieldsThePageUnderneath) {
    Underneath under;
    under.setParent(&home);
    under.setGeometry(home.rect());
    under.setMouseTracking(true);
    under.show();
    EXPECT_EQ(mouseThrough(under, {100, 200}), 6) << "the counting reaches an uncovered page";

    QPointer<TransitionController> page = new TransitionController;
    new QLabel("content that ignores the mouse", page);
    page->findChild<QLabel*>()->setGeometry(0, 60, 272, 100);
    page->present(&under);
    ASSERT_TRUE(waitUntil([&] { return page->y() == 0; }));
    for (const QPoint p : {QPoint(100, 20), QPoint(100, 100), QPoint(100, 400)})
        EXPECT_EQ(mouseThrough(under, p), 0) << p.y();

    TransitionController::animationDuration = 600;
    page->dismiss();
    ASSERT_TRUE(waitUntil([&] { return page->y() > 100; }));
    const int top = page->y();
    EXPECT_EQ(mouseThrough(under, {100, top + 20}), 0) << "covered while sliding out";
    EXPECT_EQ(mouseThrough(under, {100, top - 20}), 6) << "uncovered while sliding out";
    ASSERT_TRUE(settle([&] { return page.isNull(); }));
    EXPECT_EQ(mouseThrough(under, {100, 200}), 6);
}

} // namespace
