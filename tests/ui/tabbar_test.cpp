// The two-tab page: the stored tab, selection by mouse and keyboard, tints and geometry.
#include "settings/DynamicAppearance.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "ui/TabBar.h"
#include "ui/TabBarButton.h"
#include "ui/TabBarController.h"
#include "ui/TitleView.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPointer>
#include <QToolButton>

#include <gtest/gtest.h>

#include <optional>

namespace {

constexpr const char* kKey = SettingsKey::TabBarSelectedViewController;

std::unique_ptr<TabBarController> makeTabs(std::optional<int> stored) {
    if (stored)
        SettingsDomain::standard().setInteger(kKey, *stored);
    else
        SettingsDomain::standard().remove(kKey);
    auto tabs =
        std::make_unique<TabBarController>(std::array<QWidget*, 2>{new QWidget, new QWidget});
    tabs->resize(272, 410);
    tabs->show();
    return tabs;
}

void expectSelected(const TabBarController& tabs, int index) {
    EXPECT_EQ(tabs.selectedIndex(), index);
    EXPECT_TRUE(tabs.viewControllers()[index]->isVisible());
    EXPECT_FALSE(tabs.viewControllers()[1 - index]->isVisible());
    EXPECT_EQ(tabs.tabBar()->selectedIndex(), index);
}

// How many pixels of the button's picture are drawn in (nearly) colour.
int picturePixels(TabBarButton* button, const QColor& colour) {
    const QImage image = button->grab(button->imageRect()).toImage();
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            n += std::abs(c.red() - colour.red()) + std::abs(c.green() - colour.green()) +
                     std::abs(c.blue() - colour.blue()) <
                 12;
        }
    return n;
}

TEST(TabBarController, OpensOnTheStoredTabWithoutWritingIt) {
    const std::pair<std::optional<int>, int> cases[] = {{std::nullopt, 0}, {1, 1}, {2, 0}, {-1, 0}};
    for (const auto& [stored, index] : cases) {
        SCOPED_TRACE(stored.value_or(-99));
        const auto tabs = makeTabs(stored);
        expectSelected(*tabs, index);
        EXPECT_EQ(SettingsDomain::standard().contains(kKey), stored.has_value());
    }
}

TEST(TabBarController, MouseAndKeyboardSelectAndStore) {
    std::shared_ptr<AppearanceSource> appearance = FixedAppearanceSource::make(false);
    DynamicAppearance::shared().setSource(appearance);
    const auto tabs = makeTabs(std::nullopt);
    const auto& buttons = tabs->tabBar()->items();
    const auto key = [](int k) {
        return [k](TabBarButton* b) {
            QKeyEvent down(QEvent::KeyPress, k, Qt::NoModifier, " ");
            QKeyEvent up(QEvent::KeyRelease, k, Qt::NoModifier, " ");
            QApplication::sendEvent(b, &down);
            QApplication::sendEvent(b, &up);
        };
    };
    const std::function<void(TabBarButton*)> ways[] = {[](TabBarButton* b) { b->click(); },
                                                       key(Qt::Key_Space), key(Qt::Key_Return),
                                                       key(Qt::Key_Enter)};
    for (const auto& select : ways)
        for (int index : {1, 0}) {
            select(buttons[index]);
            expectSelected(*tabs, index);
            EXPECT_EQ(SettingsDomain::standard().integerValue(kKey), index);
        }
    // The selected picture in the tint colour, the other in the secondary text colour.
    for (bool dark : {false, true}) {
        FixedAppearanceSource::setDark(appearance, dark);
        const QColor tint = DynamicColor::dynamicTintColor();
        const QColor secondary = DynamicColor::dynamicSecondaryTextColor();
        EXPECT_GT(picturePixels(buttons[0], tint), 40) << dark;
        EXPECT_EQ(picturePixels(buttons[0], secondary), 0) << dark;
        EXPECT_EQ(picturePixels(buttons[1], tint), 0) << dark;
        EXPECT_GT(picturePixels(buttons[1], secondary), 40) << dark;
    }
    FixedAppearanceSource::setDark(appearance, false);
}

TEST(TabBarController, PagesEndAboveTheTabBarAtEverySize) {
    const auto tabs = makeTabs(1);
    EXPECT_FALSE(tabs->titleView()->isVisible());
    const auto& buttons = tabs->tabBar()->items();
    EXPECT_EQ(buttons[0]->imageSize(), QSize(24, 24));
    EXPECT_EQ(buttons[1]->imageSize(), QSize(22, 22));
    for (const QSize size : {QSize(272, 410), QSize(300, 200)}) {
        tabs->resize(size);
        for (QWidget* page : tabs->viewControllers())
            EXPECT_EQ(page->geometry(), QRect(0, 0, size.width(), size.height() - 52));
        EXPECT_EQ(tabs->tabBar()->geometry(), QRect(0, size.height() - 52, size.width(), 52));
        EXPECT_EQ(buttons[0]->geometry().united(buttons[1]->geometry()),
                  QRect(0, 0, size.width(), 52));
    }
}

// A tab that is itself a sliding page keeps its title bar; its back button closes the tab page.
TEST(TabBarController, BackButtonOfATabDismissesTheTabPage) {
    const int duration = std::exchange(TransitionController::animationDuration, 0);
    QWidget home;
    auto* history = new TransitionController;
    QPointer<TabBarController> tabs =
        new TabBarController(std::array<QWidget*, 2>{new QWidget, history});
    tabs->present(&home);
    EXPECT_EQ(history->tabBarController, tabs.data());
    history->titleView()->backButton()->click();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(tabs.isNull());
    TransitionController::animationDuration = duration;
}

} // namespace
