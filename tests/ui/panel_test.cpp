// The panel window: where it hangs, its sizes, showing and closing, its background.
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "ui/BackgroundView.h"
#include "ui/ContentViewController.h"
#include "ui/MenuPopoverWindow.h"
#include "ui/MenuPopoverWindowController.h"
#include "ui/PanelPlacement.h"
#include "ui/TransitionController.h"

#include <QApplication>
#include <QPointer>

#include <gtest/gtest.h>

namespace {

TEST(PanelPlacement, HangsFromThePointOnTheSideAwayFromThePanelAndStaysOnScreen) {
    const QRect screen(0, 0, 1024, 800), second(1024, 0, 1280, 800);
    const QRect top(0, 0, 1024, 28);
    const auto U = PanelEdge::Unknown;
    const struct {
        const char* what;
        QPoint point;
        PanelEdge edge;
        std::optional<QRect> bar;
        QRect screen, available;
        QPoint expected;
    } cases[] = {
        // clang-format off
        {"top bar found under a tray click", {500, 10}, U, top, screen, screen, {348, 28}},
        {"bottom bar found", {500, 790}, U, QRect(0, 772, 1024, 28), screen, screen, {348, 342}},
        {"near the right edge", {1010, 10}, U, top, screen, screen, {1024 - 304, 28}},
        {"near the left edge", {40, 10}, U, top, screen, screen, {0, 28}},
        {"no bar known, the panel's strut left out of the work area", {500, 10}, U, std::nullopt,
         screen, QRect(0, 30, 1024, 770), {348, 30}},
        {"no bar, no strut: the nearest screen edge decides", {500, 795}, U, std::nullopt, screen,
         screen, {348, 795 - 430}},
        {"a plug-in gives the edge and its own point", {600, 40}, PanelEdge::Top, top, screen,
         screen, {448, 40}},
        {"plug-in on a bottom panel", {600, 760}, PanelEdge::Bottom, std::nullopt, screen, screen,
         {448, 330}},
        {"left side panel", {0, 300}, U, QRect(0, 0, 40, 800), screen, screen, {40, 280}},
        {"right side panel, low on the screen", {1000, 700}, U, QRect(984, 0, 40, 800), screen,
         screen, {984 - 304, 800 - 430}},
        {"second screen: clamped into that screen", {1030, 10}, U, QRect(1024, 0, 1280, 28),
         second, second, {1024, 28}},
        // clang-format on
    };
    for (const auto& c : cases)
        EXPECT_EQ(
            PanelPlacement::origin(c.point, c.edge, c.bar, QSize(304, 430), c.screen, c.available),
            c.expected)
            << c.what;
    EXPECT_EQ(panelEdgeFromName(QStringLiteral(" Bottom")), PanelEdge::Bottom);
    EXPECT_EQ(panelEdgeFromName(QStringLiteral("sideways")), PanelEdge::Unknown);
}

class PanelControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        page = new QWidget;
        controller.embedViewController = page;
        controller.contentSize = [] { return QSize(272, 546); };
        TransitionController::animationDuration = 0;
    }
    void TearDown() override { TransitionController::animationDuration = 250; }

    MenuPopoverWindowController controller;
    QPointer<QWidget> page;
};

TEST_F(PanelControllerTest, ShowsUnderThePointAndEveryWayOfClosingClearsIsShown) {
    controller.showAt(QPoint(400, 0), PanelEdge::Top);
    MenuPopoverWindow* window = controller.window();
    ASSERT_TRUE(controller.isShown());
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->size(), QSize(304, 566));
    EXPECT_EQ(window->pos(), QPoint(248, 0));
    // The page sits on the rounded background, 16 in from the left and 4 down.
    EXPECT_EQ(page->mapTo(window, QPoint(0, 0)), QPoint(16, 4));
    EXPECT_EQ(page->size(), QSize(272, 546));

    // A second click on the item closes it; the next one opens it again.
    controller.toggleAt(QPoint(400, 0), PanelEdge::Top);
    EXPECT_FALSE(controller.isShown());
    EXPECT_FALSE(window->isVisible());
    controller.toggleAt(QPoint(400, 0), PanelEdge::Top);
    EXPECT_TRUE(controller.isShown());

    // The popup closes itself (a click elsewhere, Escape): the state follows at once, and
    // the host's activation of that same click does not reopen it.
    window->hide();
    EXPECT_FALSE(controller.isShown());
    controller.toggleAt(QPoint(400, 0), PanelEdge::Top);
    EXPECT_FALSE(controller.isShown());
    // A later show works.
    controller.showAt(QPoint(400, 0), PanelEdge::Top);
    EXPECT_TRUE(controller.isShown());
}

TEST_F(PanelControllerTest, ClosingPopsPagesAndTheContentSizeIsTakenOnTheFirstShowingOnly) {
    controller.showAt(QPoint(400, 0), PanelEdge::Top);
    QPointer<TransitionController> status = new TransitionController;
    status->present(page);
    EXPECT_EQ(status->geometry(), page->rect());
    controller.close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(status.isNull());
    // Pages size the window for the home panel as the settings have it (no boxes: 410).
    const QSize homeWindow = controller.window()->size();
    EXPECT_EQ(homeWindow, QSize(304, 430));

    controller.contentSize = [] { return QSize(272, 700); };
    controller.showAt(QPoint(400, 0), PanelEdge::Top);
    EXPECT_EQ(controller.window()->size(), homeWindow);
}

TEST_F(PanelControllerTest, BackgroundIsTranslucentOnlyWhereItCanShowAndFollowsTheSetting) {
    SettingsDomain::standard().setBool(SettingsKey::WantsBlurBackground, true);
    controller.showAt(QPoint(400, 0), PanelEdge::Top);
    // The offscreen platform has no compositor: the window is opaque whatever the setting.
    ASSERT_FALSE(controller.window()->isTranslucent());
    BackgroundView* background = controller.contentViewController()->backgroundView();
    EXPECT_FALSE(background->isTranslucent());
    const QImage shot = controller.window()->grab().toImage();
    EXPECT_EQ(shot.pixelColor(152, 200).rgb(), DynamicColor::dynamicContentBackgroundColor().rgb());

    BackgroundView translucent;
    translucent.setTranslucent(true);
    EXPECT_NEAR(translucent.fillColor().alphaF(), 0.6, 0.01);
    SettingsDomain::standard().setBool(SettingsKey::WantsBlurBackground, false);
    NotificationCenter::defaultCenter().post(QString::fromLatin1(SettingsKey::WantsBlurBackground));
    EXPECT_FALSE(background->isTranslucent());
}

} // namespace
