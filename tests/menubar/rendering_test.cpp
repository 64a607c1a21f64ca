// The styles as drawn pixels (offscreen platform): size, content, reaction to speeds and to
// the appearance; and the controller's choice of style and width.
#include "menubar/NetMenuBarItemController.h"
#include "menubar/RenderStylesCommand.h"
#include "menubar/StatusItem.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QDir>
#include <QImage>

#include <gtest/gtest.h>

namespace {

// The pixels above an alpha threshold: their count and mean lightness.
std::pair<int, double> drawnPixels(const QImage& image, int minAlpha) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    int n = 0;
    double sum = 0;
    for (int y = 0; y < argb.height(); ++y)
        for (int x = 0; x < argb.width(); ++x)
            if (const QRgb px = argb.pixel(x, y); qAlpha(px) > minAlpha) {
                sum += QColor(px).lightnessF();
                ++n;
            }
    return {n, n ? sum / n : -1};
}
int opaquePixels(const QImage& image) {
    return drawnPixels(image, 40).first;
}
double meanLightness(const QImage& image) {
    return drawnPixels(image, 200).second;
}

class RenderingTest : public ::testing::Test {
protected:
    void SetUp() override {
        source_ = FixedAppearanceSource::make(false);
        DynamicAppearance::shared().setSource(source_);
        SettingsDomain::standard().remove(SettingsKey::MenuBoxPreferredWidth);
    }
    void TearDown() override { FixedAppearanceSource::setDark(source_, false); }
    std::shared_ptr<AppearanceSource> source_;
};

TEST_F(RenderingTest, EachStyleHasItsWidthAtBothScalesAndIsNotBlank) {
    for (BoxType type : kOfferedNetworkStyles) {
        auto box = NetMenuBox::create(type);
        ActivityObject a;
        a.netMode = ReachableViaWiFi;
        a.paceActivities = {12, 2345};
        box->update(a);
        for (int scale : {1, 2}) {
            const QImage image = box->render(scale);
            EXPECT_EQ(image.width(), static_cast<int>(std::ceil(box->width() * scale)))
                << static_cast<int>(type);
            EXPECT_EQ(image.height(), 22 * scale);
            EXPECT_GT(opaquePixels(image), 20 * scale) << static_cast<int>(type);
        }
        if (type != BoxType::large && type != BoxType::largeWithCPU &&
            type != BoxType::largeWithStock) {
            EXPECT_EQ(box->width(), defaultWidthForBoxType(type));
        }
    }
}

TEST_F(RenderingTest, PixelsChangeWithSpeedsExceptForTheIcon) {
    for (BoxType type : kOfferedNetworkStyles) {
        const QImage slow = renderStyle(static_cast<int>(type), 3, 40, 2);
        const QImage fast = renderStyle(static_cast<int>(type), 900, 50000, 2);
        if (type == BoxType::icon)
            EXPECT_EQ(slow, fast);
        else
            EXPECT_NE(slow, fast) << static_cast<int>(type);
    }
}

TEST_F(RenderingTest, DarkAppearanceDrawsLightTextAndTheOtherWayRound) {
    for (BoxType type : {BoxType::compact, BoxType::wide, BoxType::large, BoxType::icon}) {
        const QImage light = renderStyle(static_cast<int>(type), 12, 2345, 2);
        FixedAppearanceSource::setDark(source_, true);
        const QImage dark = renderStyle(static_cast<int>(type), 12, 2345, 2);
        FixedAppearanceSource::setDark(source_, false);
        EXPECT_NE(light, dark) << static_cast<int>(type);
        EXPECT_LT(meanLightness(light), 0.3) << static_cast<int>(type);
        EXPECT_GT(meanLightness(dark), 0.7) << static_cast<int>(type);
    }
}

TEST_F(RenderingTest, WideOfflineHidesArrowsOnTheLeftEdge) {
    Wide w;
    ActivityObject a;
    a.netMode = ReachableViaWiFi;
    a.paceActivities = {1, 1};
    w.update(a);
    const QImage online = w.render(1).copy(2, 0, 12, 22);
    EXPECT_GT(opaquePixels(online), 5);
    a.netMode = NotReachable;
    w.update(a);
    w.emptyLabel().runs.front().text = QStringLiteral("x"); // keep the centre label narrow
    const QImage offline = w.render(1).copy(2, 0, 12, 22);
    EXPECT_EQ(opaquePixels(offline), 0);
}

TEST_F(RenderingTest, NarrowStylesKeepLongSpeedsInsideTheirWidth) {
    for (BoxType type : {BoxType::compact, BoxType::solo}) {
        const QImage image = renderStyle(static_cast<int>(type), 8888, 2345, 2);
        // The two rightmost pixel columns stay empty: nothing is cut off at the edge.
        EXPECT_EQ(opaquePixels(image.copy(image.width() - 2, 0, 2, image.height())), 0)
            << static_cast<int>(type);
        EXPECT_GT(opaquePixels(image), 100);
    }
}

TEST_F(RenderingTest, RenderCommandWritesTwoScalesPerStyleAndASheet) {
    TempDir dir;
    ASSERT_EQ(runRenderStylesCommand({dir.path(), "--sent", "5", "--received", "2048"}), 0);
    const QStringList files = QDir(dir.path()).entryList({"*.png"}, QDir::Files, QDir::Name);
    EXPECT_EQ(files.size(), 21);
    const QImage wide1(dir.file("01-wide@1x.png"));
    const QImage wide2(dir.file("01-wide@2x.png"));
    EXPECT_EQ(wide1.size(), QSize(124, 22));
    EXPECT_EQ(wide2.size(), QSize(248, 44));
    EXPECT_TRUE(QFile::exists(dir.file("styles-light.png")));
    EXPECT_EQ(runRenderStylesCommand({dir.path(), "--sent"}), 2);
    EXPECT_EQ(runRenderStylesCommand({}), 2);
    EXPECT_EQ(runRenderStylesCommand({dir.path(), "--bogus"}), 2);
    DynamicAppearance::shared().setSource(source_);
}

TEST(StatusItemRendering, SettingWinsThenHostDecides) {
    using R = StatusItem::Rendering;
    EXPECT_EQ(StatusItem::renderingFor("wide", "xfce4-panel"), R::Wide);
    EXPECT_EQ(StatusItem::renderingFor("", "waybar"), R::Wide);
    EXPECT_EQ(StatusItem::renderingFor("auto", "xfce4-panel"), R::Square);
    EXPECT_EQ(StatusItem::renderingFor("", ""), R::Square);
    EXPECT_EQ(StatusItem::renderingFor("WIDE", "plasmashell"), R::Square);
}

class ControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().remove(SettingsKey::MenuBoxPreferredWidth);
        SettingsDomain::standard().setString(SettingsKey::TrayRendering, "wide");
    }
    void TearDown() override {
        SettingsDomain::standard().remove(SettingsKey::NetMenuBoxType);
        SettingsDomain::standard().remove(SettingsKey::TrayRendering);
    }
    std::unique_ptr<NetMenuBarItemController> make(std::optional<int64_t> stored) {
        if (stored)
            SettingsDomain::standard().setInteger(SettingsKey::NetMenuBoxType, *stored);
        else
            SettingsDomain::standard().remove(SettingsKey::NetMenuBoxType);
        auto c = std::make_unique<NetMenuBarItemController>(QDBusConnection(QStringLiteral("none")),
                                                            nullptr);
        c->statusItem()->setDevicePixelRatioOverride(2.0);
        c->loadMenuBarItemIfNeed();
        return c;
    }
};

TEST_F(ControllerTest, OutOfRangeStoredStyleStartsCompact) {
    const std::optional<int64_t> cases[] = {std::nullopt, -1, 13};
    for (const auto& stored : cases) {
        auto c = make(stored);
        EXPECT_EQ(c->menuBoxType, BoxType::compact);
        EXPECT_EQ(c->statusItem()->length(), 48);
        EXPECT_EQ(c->itemContainer()->contentView()->boxType(), BoxType::compact);
    }
}

TEST_F(ControllerTest, OtherItemsStylesShowTheIcon) {
    for (int stored : {6, 10, 11, 12}) {
        auto c = make(stored);
        EXPECT_EQ(static_cast<int>(c->menuBoxType), stored);
        EXPECT_EQ(c->itemContainer()->contentView()->boxType(), BoxType::icon);
        EXPECT_EQ(c->statusItem()->length(), 22);
        EXPECT_EQ(c->itemContainer()->frame(), QRectF(0, 0, 22, 22));
    }
}

TEST_F(ControllerTest, FixedLengthsAndWideImageAtTheScale) {
    const struct {
        int type;
        double length;
    } cases[] = {{0, 48}, {4, 32}, {9, 112}}; // first, narrowest and last fixed style
    for (const auto& e : cases) {
        auto c = make(e.type);
        EXPECT_EQ(c->statusItem()->length(), e.length) << e.type;
        c->statusItem()->refresh();
        EXPECT_EQ(c->statusItem()->currentImage().size(), QSize(static_cast<int>(e.length * 2), 44))
            << e.type;
    }
}

TEST_F(ControllerTest, KeyNotificationSwitchesStyleAtOnceAndWidthFollowsLarge) {
    auto c = make(0);
    SettingsDomain::standard().setInteger(SettingsKey::NetMenuBoxType, 7);
    NotificationCenter::defaultCenter().post(QString::fromLatin1(SettingsKey::NetMenuBoxType));
    EXPECT_EQ(c->menuBoxType, BoxType::large);
    EXPECT_EQ(c->itemContainer()->contentView()->boxType(), BoxType::large);
    EXPECT_EQ(c->statusItem()->length(), 132);

    auto record = std::make_shared<ActivityObject>();
    record->netMode = ReachableViaWiFi;
    record->paceActivities = {1, 2};
    c->itemContainer()->networkActivityDidUpdate(record);
    const double fitted = c->itemContainer()->contentView()->width();
    EXPECT_NE(fitted, 132);
    EXPECT_EQ(c->statusItem()->length(), fitted);
    EXPECT_EQ(c->itemContainer()->frame().width(), fitted);
    EXPECT_EQ(c->statusItem()->currentImage().width(), static_cast<int>(std::ceil(fitted * 2)));

    c->selectBoxType(BoxType::solo);
    EXPECT_EQ(SettingsDomain::standard().integerValue(SettingsKey::NetMenuBoxType), 4);
    EXPECT_EQ(c->statusItem()->length(), 32);
}

TEST_F(ControllerTest, SquareRenderingCarriesSpeedsInLabelAndSendsIconOnlyOnChange) {
    SettingsDomain::standard().setString(SettingsKey::TrayRendering, "square");
    auto c = make(1);
    EXPECT_EQ(c->statusItem()->rendering(), StatusItem::Rendering::Square);
    auto record = std::make_shared<ActivityObject>();
    record->netMode = ReachableViaWiFi;
    record->paceActivities = {12, 2345};
    c->itemContainer()->networkActivityDidUpdate(record);
    EXPECT_TRUE(c->statusItem()->labelText().contains("12 KB/s"));
    EXPECT_TRUE(c->statusItem()->labelText().contains("2.29 MB/s"));
    EXPECT_EQ(c->statusItem()->currentImage().size(), QSize(44, 44));
    const int updates = c->statusItem()->iconUpdates();
    record = std::make_shared<ActivityObject>(*record);
    c->itemContainer()->networkActivityDidUpdate(record);
    EXPECT_EQ(c->statusItem()->iconUpdates(), updates) << "same pixels, no new icon";
    // Switching the setting live to wide re-renders at the style's width.
    SettingsDomain::standard().setString(SettingsKey::TrayRendering, "wide");
    NotificationCenter::defaultCenter().post(QString::fromLatin1(SettingsKey::TrayRendering));
    EXPECT_EQ(c->statusItem()->currentImage().size(), QSize(248, 44));
    EXPECT_EQ(c->statusItem()->iconUpdates(), updates + 1);
}

TEST_F(ControllerTest, ContainerWithoutViewIgnoresRecords) {
    MenuBarItemContainer container(nullptr);
    int calls = 0;
    container.didUpdate = [&](const ActivityObject&) { ++calls; };
    container.networkActivityDidUpdate(std::make_shared<ActivityObject>());
    EXPECT_EQ(calls, 0);
    container.setContentView(NetMenuBox::create(BoxType::wide));
    container.networkActivityDidUpdate(std::make_shared<ActivityObject>());
    EXPECT_EQ(calls, 1);
}

} // namespace
