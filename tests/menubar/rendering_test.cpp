// The styles as drawn pixels (offscreen platform): size, content, reaction to speeds and to
// the appearance; and the controller's choice of style and width.
#include "menubar/NetMenuBarItemController.h"
#include "menubar/RenderStylesCommand.h"
#include "menubar/StatusItem.h"
#include "platform/linux/StatusNotifierItem.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QDir>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QImage>

#include <gtest/gtest.h>

namespace {

// The pixels above an alpha threshold: their count and mean lightness.
std::pair<int, double> drawn(const QImage& image, int minAlpha = 40) {
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

class RenderingTest : public ::testing::Test {
protected:
    void SetUp() override {
        DynamicAppearance::shared().setSource(source_);
        SettingsDomain::standard().remove(SettingsKey::MenuBoxPreferredWidth);
    }
    void TearDown() override { FixedAppearanceSource::setDark(source_, false); }
    std::shared_ptr<AppearanceSource> source_ = FixedAppearanceSource::make(false);
};

// Every style at both scales, at new speeds and in the dark; its drawing key promises that
// equal keys draw equal pixels: it changes when the drawing does, stays put when the record
// repeats, and is empty for styles with curves.
TEST_F(RenderingTest, EachStyleHasItsSizeFollowsSpeedsAndAppearanceAndKeysItsPixels) {
    const auto record = [](uint64_t up, uint64_t down, int mode = ReachableViaWiFi) {
        ActivityObject a;
        a.netMode = mode;
        a.paceActivities = {up, down};
        return a;
    };
    for (BoxType type : kOfferedNetworkStyles) {
        const int t = static_cast<int>(type);
        auto box = NetMenuBox::create(type);
        box->update(record(12, 2345));
        for (int scale : {1, 2}) {
            const QImage image = box->render(scale);
            EXPECT_EQ(image.size(), QSize(std::ceil(box->width() * scale), 22 * scale)) << t;
            EXPECT_GT(drawn(image).first, 20 * scale) << t;
        }
        const QString key = box->drawingKey();
        const QImage pixels = box->render(1.0);
        if (type == BoxType::stock || type == BoxType::largeWithStock) {
            EXPECT_TRUE(key.isEmpty()) << t;
        } else {
            box->update(record(12, 2345));
            EXPECT_EQ(box->drawingKey(), key) << t;
            EXPECT_EQ(box->render(1.0), pixels) << t;
            for (const ActivityObject& next :
                 {record(7000, 2345), record(12, 2345, NotReachable)}) {
                box->update(next);
                EXPECT_EQ(box->drawingKey() != key, box->render(1.0) != pixels)
                    << t << " " << next.netMode;
            }
        }
        const QImage light = renderStyle(t, 12, 2345, 2);
        EXPECT_EQ(light == renderStyle(t, 900, 50000, 2), type == BoxType::icon) << t;
        FixedAppearanceSource::setDark(source_, true);
        const QImage dark = renderStyle(t, 12, 2345, 2);
        FixedAppearanceSource::setDark(source_, false);
        EXPECT_GT(drawn(dark, 200).second - drawn(light, 200).second, 0.25) << t;
    }
}

TEST_F(RenderingTest, NarrowStylesKeepLongSpeedsInsideTheirWidth) {
    for (BoxType type : {BoxType::compact, BoxType::solo}) {
        const QImage image = renderStyle(static_cast<int>(type), 8888, 2345, 2);
        // The two rightmost pixel columns stay empty: nothing is cut off at the edge.
        EXPECT_EQ(drawn(image.copy(image.width() - 2, 0, 2, image.height())).first, 0)
            << static_cast<int>(type);
        EXPECT_GT(drawn(image).first, 100);
    }
}

TEST_F(RenderingTest, RenderCommandWritesTwoScalesPerStyleAndASheet) {
    TempDir dir;
    ASSERT_EQ(runRenderStylesCommand({dir.path(), "--sent", "5", "--received", "2048"}), 0);
    // The ten styles and the eight classic ones at two scales, and the sheet.
    EXPECT_EQ(QDir(dir.path()).entryList({"*.png"}, QDir::Files).size(), (10 + 8) * 2 + 1);
    EXPECT_EQ(QImage(dir.file("22-classic-wide@2x.png")).size(), QSize(248, 44));
    EXPECT_EQ(QImage(dir.file("01-wide@2x.png")).size(), QSize(248, 44));
    EXPECT_FALSE(QImage(dir.file("styles-light.png")).isNull());
    EXPECT_EQ(runRenderStylesCommand({dir.path(), "--sent"}), 2);
    DynamicAppearance::shared().setSource(source_);
}

TEST(StatusItemRendering, SettingWinsThenHostDecides) {
    using R = StatusItem::Rendering;
    EXPECT_EQ(StatusItem::renderingFor("wide", "xfce4-panel"), R::Wide);
    EXPECT_EQ(StatusItem::renderingFor("", "waybar"), R::Wide);
    EXPECT_EQ(StatusItem::renderingFor("auto", "xfce4-panel"), R::Square);
    EXPECT_EQ(StatusItem::renderingFor("WIDE", "plasmashell"), R::Square);
}

// Hosts size a label to its text, so every speed (single digits to hundreds of MB/s, KB or
// MB) gives one width in a bar font with figures of one width, that of the guide; the
// numbers stay readable.
TEST(StatusItemRendering, LabelKeepsOneWidthWhateverTheSpeeds) {
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setBold(true);
    font.setPixelSize(15);
    if (!QFontInfo(font).family().startsWith(QLatin1String("DejaVu Sans")))
        GTEST_SKIP() << "DejaVu Sans is not installed (fonts-dejavu-core)";
    const QFontMetricsF metrics(font);
    const double guide = metrics.horizontalAdvance(StatusItem::labelGuide());
    const struct {
        uint64_t up, down;
        const char* shown;
    } rows[] = {{0, 0, "0 KB/s"},
                {7, 1024, "1024 KB/s"},
                {1025, 99, "1.00 MB/s"},
                {1382, 88, "1.35 MB/s"},
                {10 * 1024 + 512, 3, "10.5 MB/s"},
                {999 * 1024, 999 * 1024, "999.0 MB/s"}};
    for (const auto& r : rows) {
        const QString label = StatusItem::fixedWidthLabel(r.up, r.down);
        EXPECT_TRUE(label.contains(QLatin1String(r.shown))) << label.toStdString();
        EXPECT_NEAR(metrics.horizontalAdvance(label), guide, 1.0) << label.toStdString();
    }
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
        auto c = std::make_unique<NetMenuBarItemController>(QDBusConnection("none"), nullptr);
        c->statusItem()->setDevicePixelRatioOverride(2.0);
        c->loadMenuBarItemIfNeed();
        return c;
    }
};

// Out-of-range values start compact; other items' styles show the icon.
TEST_F(ControllerTest, StoredStyleGivesTheViewAndTheLengthOfTheImage) {
    const struct {
        std::optional<int64_t> stored;
        BoxType shown;
        int length;
    } rows[] = {{std::nullopt, BoxType::compact, 48},
                {-1, BoxType::compact, 48},
                {13, BoxType::compact, 48},
                {4, BoxType::solo, 32},
                {9, BoxType::largeWithStock, 112},
                {6, BoxType::icon, 22},
                {10, BoxType::icon, 22},
                {12, BoxType::icon, 22}};
    for (const auto& r : rows) {
        auto c = make(r.stored);
        EXPECT_EQ(c->itemContainer()->contentView()->boxType(), r.shown) << r.length;
        EXPECT_EQ(c->statusItem()->length(), r.length);
        EXPECT_EQ(c->itemContainer()->frame().width(), r.length);
        c->statusItem()->refresh();
        EXPECT_EQ(c->statusItem()->currentImage().size(), QSize(r.length * 2, 44));
    }
}

// Square icons go out once, wide ones when their pixels change; a live style switch to
// large follows the fitted width; a click keeps the host's position.
TEST_F(ControllerTest, SwitchesRenderingAndStyleLiveAndSendsIconsOnlyOnChange) {
    SettingsDomain::standard().setString(SettingsKey::TrayRendering, "square");
    auto c = make(1);
    StatusItem* item = c->statusItem();
    const auto tick = [&](uint64_t up, uint64_t down) {
        auto r = std::make_shared<ActivityObject>();
        r->netMode = ReachableViaWiFi;
        r->paceActivities = {up, down};
        c->itemContainer()->networkActivityDidUpdate(r);
        return item->iconUpdates();
    };
    const int square = tick(12, 2345);
    EXPECT_EQ(item->currentImage().size(), QSize(44, 44));
    EXPECT_TRUE(item->labelText().contains("12 KB/s") && item->labelText().contains("2.29 MB/s"));
    EXPECT_EQ(tick(13, 2000), square);
    SettingsDomain::standard().setString(SettingsKey::TrayRendering, "wide");
    NotificationCenter::defaultCenter().post(QString::fromLatin1(SettingsKey::TrayRendering));
    EXPECT_EQ(item->currentImage().size(), QSize(248, 44));
    EXPECT_EQ(tick(13, 2000), square + 1) << "same pixels after the switch";
    EXPECT_EQ(tick(900, 70000), square + 2);

    SettingsDomain::standard().setInteger(SettingsKey::NetMenuBoxType, 7);
    NotificationCenter::defaultCenter().post(QString::fromLatin1(SettingsKey::NetMenuBoxType));
    EXPECT_EQ(item->length(), 132) << "large before its first record";
    tick(1, 2);
    const double fitted = c->itemContainer()->contentView()->width();
    EXPECT_NE(fitted, 132);
    EXPECT_EQ(item->length(), fitted);
    EXPECT_EQ(item->currentImage().width(), static_cast<int>(std::ceil(fitted * 2)));
    c->selectBoxType(BoxType::solo);
    EXPECT_EQ(SettingsDomain::standard().integerValue(SettingsKey::NetMenuBoxType), 4);
    EXPECT_EQ(item->length(), 32);

    QPoint clicked;
    c->showPopoverHandler = [&](QPoint at) { clicked = at; };
    item->statusNotifierItem()->activate(321, 7);
    EXPECT_EQ(clicked, QPoint(321, 7));
}

} // namespace
