// The sliding page base: an interrupted slide and the mouse shield.
#include "support/Wait.h"
#include "ui/TransitionController.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPointer>
#include <QWheelEvent>

#include <gtest/gtest.h>

// Marks an event as coming from the window system, so the application hands it on to the
// parent when a widget ignores it (for wheel events it does so only then).
class QSpontaneKeyEvent {
public:
    static void setSpontaneous(QEvent* e) { e->setSpontaneous(); }
};

namespace {

// Runs the event loop, deferred deletions included, until pred holds.
bool settle(const std::function<bool()>& pred) {
    return waitUntil([&] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return pred();
    });
}

// Counts the mouse and wheel events that reach it.
struct Underneath : QWidget {
    int events = 0;
    bool event(QEvent* e) override {
        const auto t = e->type();
        if (t != QEvent::MouseButtonPress && t != QEvent::MouseButtonRelease &&
            t != QEvent::MouseMove && t != QEvent::Wheel)
            return QWidget::event(e);
        ++events;
        return true;
    }
};

// Sends press, release, a move without a button and a wheel turn to the topmost widget at
// point, as the window system would; returns how many reached `under`.
int mouseThrough(Underneath& under, QPoint point) {
    const int before = under.events;
    QWidget* target = under.childAt(point) ? under.childAt(point) : &under;
    const QPointF local = target->mapFrom(&under, point), global = under.mapToGlobal(point);
    QMouseEvent press(QEvent::MouseButtonPress, local, global, Qt::LeftButton, Qt::LeftButton, {});
    QMouseEvent release(QEvent::MouseButtonRelease, local, global, Qt::LeftButton, {}, {});
    QMouseEvent move(QEvent::MouseMove, local, global, Qt::NoButton, {}, {});
    QWheelEvent wheel(local, global, {}, {0, -120}, {}, {}, Qt::NoScrollPhase, false);
    for (QEvent* e : std::initializer_list<QEvent*>{&press, &release, &move, &wheel}) {
        QSpontaneKeyEvent::setSpontaneous(e);
        qApp->notify(target, e);
    }
    return under.events - before;
}

class TransitionTest : public ::testing::Test {
protected:
    void SetUp() override {
        under.setMouseTracking(true);
        under.resize(272, 410);
        under.show();
    }
    void TearDown() override { TransitionController::animationDuration = saved_; }
    int saved_ = std::exchange(TransitionController::animationDuration, 300);
    Underneath under;
};

// Dismissing while the presenting slide runs still slides the page out, then removes and
// deletes it.
TEST_F(TransitionTest, DismissDuringThePresentingSlide) {
    QPointer<TransitionController> page = new TransitionController;
    int dismissedAt = -1;
    QObject::connect(page, &TransitionController::dismissed, [&] { dismissedAt = page->y(); });
    page->present(&under);
    ASSERT_TRUE(waitUntil([&] { return page->y() < 380; }));
    page->dismiss();
    EXPECT_EQ(page->parentWidget(), &under) << "still on screen while it slides out";
    ASSERT_TRUE(settle([&] { return page.isNull(); }));
    EXPECT_EQ(dismissedAt, 410) << "removed only once the slide reached the bottom";
    EXPECT_TRUE(under.children().isEmpty());
}

// Nothing done on a page reaches the page underneath, also while it slides out; the
// uncovered part of the page underneath keeps working.
TEST_F(TransitionTest, ThePageShieldsThePageUnderneath) {
    EXPECT_EQ(mouseThrough(under, {100, 200}), 4) << "an uncovered page gets everything";
    QPointer<TransitionController> page = new TransitionController;
    (new QLabel("content that ignores the mouse", page))->setGeometry(0, 60, 272, 100);
    page->present(&under);
    ASSERT_TRUE(waitUntil([&] { return page->y() == 0; }));
    for (const int y : {20, 100, 400})
        EXPECT_EQ(mouseThrough(under, {100, y}), 0) << y;

    TransitionController::animationDuration = 600;
    page->dismiss();
    ASSERT_TRUE(waitUntil([&] { return page->y() > 100; }));
    const int top = page->y();
    EXPECT_EQ(mouseThrough(under, {100, top + 20}), 0) << "covered while sliding out";
    EXPECT_EQ(mouseThrough(under, {100, top - 20}), 4) << "uncovered while sliding out";
    ASSERT_TRUE(settle([&] { return page.isNull(); }));
    EXPECT_EQ(mouseThrough(under, {100, 200}), 4);
}

} // namespace
