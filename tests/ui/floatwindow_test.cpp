// The floating window on the offscreen platform: sizes per stored mode, the background's
// opacity, the sparklines per mode, the lower-left corner across mode switches, the dotted
// rule, the total texts, the header title and the kept position.
#include "menubar/StockView_T.h"
#include "platform/WindowHints.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/FakeSampler.h"
#include "ui/FloatWindowController.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QWidget>

#include <gtest/gtest.h>

#include <vector>

namespace {

class Hints : public WindowHints {
public:
    explicit Hints(bool compositor) : compositor_(compositor) {}
    void keepAboveEverywhere(QWindow&) override {}
    void setShadow(QWindow&, bool) override {}
    bool compositorRunning() override { return compositor_; }

private:
    bool compositor_;
};

class FloatWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        DynamicAppearance::shared().setSource(appearance);
        for (const char* key :
             {SettingsKey::FloatWindowMode, SettingsKey::FloatWindowBackgroundAlpha,
              SettingsKey::FloatWindowOrigin, SettingsKey::StockFloatWindowNetwork,
              SettingsKey::StockFloatWindowCPU, SettingsKey::FloatWindowWideModeShowTime})
            SettingsDomain::standard().remove(key);
    }

    std::unique_ptr<FloatWindowController>
    make(bool compositor = false, std::function<void(const void*)> windowWillClose = nullptr) {
        FloatWindowController::Options options;
        options.sources.todayTotals = [this] { return totals; };
        options.sources.cpuRate = [] { return QStringLiteral("37"); };
        options.sources.cpuAverage = [] { return std::optional<QString>(); };
        options.sources.hasBattery = [] { return false; };
        options.sources.now = [] { return QTime(9, 5, 7); };
        options.hints = std::make_shared<Hints>(compositor);
        options.screens = [this] { return screens; };
        return std::make_unique<FloatWindowController>(sampler, std::move(windowWillClose),
                                                       std::move(options));
    }

    std::shared_ptr<AppearanceSource> appearance = FixedAppearanceSource::make(false);
    FakeSampler sampler;
    DataUsageProvider::Atom totals;
    QList<QRect> screens{QRect(0, 0, 1920, 1080)};
};

TEST_F(FloatWindowTest, StoredModeGivesTheWindowSizeOutOfRangeReadsWide) {
    const struct {
        int64_t stored;
        WindowMode mode;
        QSize size;
    } rows[] = {{0, WindowMode::compactA, {132, 112}},
                {1, WindowMode::compactB, {132, 112}},
                {2, WindowMode::wide, {252, 112}},
                {5, WindowMode::wide, {252, 112}},
                {-1, WindowMode::wide, {252, 112}}};
    for (const auto& row : rows) {
        SettingsDomain::standard().setInteger(SettingsKey::FloatWindowMode, row.stored);
        auto controller = make();
        EXPECT_EQ(controller->windowWidget().size(), row.size) << row.stored;
        EXPECT_EQ(controller->windowWidget().minimumSize(), row.size) << row.stored;
        EXPECT_EQ(controller->windowWidget().maximumSize(), row.size) << row.stored;
        EXPECT_EQ(controller->contentView().windowMode(), row.mode) << row.stored;
    }
}

TEST_F(FloatWindowTest, BackgroundOpacityIsClampedAndOpaqueWithoutCompositor) {
    const QColor content = DynamicAppearance::shared().contentBackgroundColor();
    const struct {
        std::optional<double> stored;
        bool compositor;
        double alpha;
    } rows[] = {{std::nullopt, true, 0.4},
                {1.7, true, 1.0},
                {0.8, true, 0.8},
                {0.1, true, 0.4},
                {0.5, false, 1.0}};
    for (const auto& row : rows) {
        if (row.stored)
            Settings::shared().setFloatWindowBackgroundAlpha(*row.stored);
        else
            SettingsDomain::standard().remove(SettingsKey::FloatWindowBackgroundAlpha);
        auto controller = make(row.compositor);
        EXPECT_EQ(controller->translucent(), row.compositor);
        EXPECT_NEAR(controller->backgroundColor().alphaF(), row.alpha, 0.002);
        EXPECT_EQ(controller->backgroundColor().rgb(), content.rgb());
        // Left of the texts, above the rule: only the background is there.
        const QImage shot = controller->windowWidget().grab().toImage();
        const QColor px = shot.pixelColor(4, 40);
        EXPECT_NEAR(px.alphaF(), row.alpha, 0.01) << row.alpha;
        EXPECT_NEAR(px.redF(), content.redF(), 0.01);
    }
    // Light and dark follow the desktop while the window is open.
    auto controller = make();
    FixedAppearanceSource::setDark(appearance, true);
    const QColor dark = DynamicAppearance::shared().contentBackgroundColor();
    EXPECT_NE(dark.rgb(), content.rgb());
    EXPECT_EQ(controller->windowWidget().grab().toImage().pixelColor(4, 40).rgb(), dark.rgb());
    FixedAppearanceSource::setDark(appearance, false);
}

TEST_F(FloatWindowTest, CompactBFeedsOnlyTheCpuSparkline) {
    for (int mode : {0, 1, 2}) {
        SettingsDomain::standard().setInteger(SettingsKey::FloatWindowMode, mode);
        auto controller = make();
        ContentView& view = controller->contentView();
        const std::vector<uint64_t> top = view.topStock().data();
        sampler.tick(40, 2);
        sampler.tick(5, 700);
        EXPECT_EQ(view.topStockHidden(), mode == 1);
        if (mode == 1) {
            EXPECT_EQ(view.topStock().data(), top);
        } else {
            EXPECT_EQ(view.topStock().data().back(), 705u);
            // The last tick received more than it sent: green.
            EXPECT_EQ(view.topStock().lineColor(), DynamicAppearance::shared().stockGreenColor());
        }
        EXPECT_EQ(view.btmStock().data().back(), 37u) << mode;
        EXPECT_EQ(view.btmStock().data().size(), 15u);
    }
}

TEST_F(FloatWindowTest, ASparklineFrameRedrawsItsBoxAsTheWholeViewDoes) {
    SettingsDomain::standard().setInteger(SettingsKey::FloatWindowMode, 2);
    auto controller = make();
    sampler.tick(40, 2);
    sampler.tick(5, 700);
    QWidget& window = controller->windowWidget();
    const QImage whole = window.grab().toImage();
    for (StockView_T* stock :
         {&controller->contentView().topStock(), &controller->contentView().btmStock()}) {
        const QRect box = stock->frame().toAlignedRect().adjusted(-2, -2, 2, 2);
        EXPECT_EQ(window.grab(box).toImage(), whole.copy(box));
    }
}

TEST_F(FloatWindowTest, ClosingReportsTheWindowKeepsTheCurvesAndLeavesTheSampler) {
    const void* closed = nullptr;
    auto controller = make(false, [&](const void* window) { closed = window; });
    ASSERT_EQ(sampler.observers, std::vector<ActivityObserver*>{controller->activityObserver()});
    controller->showWindow();
    sampler.tick(3, 4);
    controller->windowWidget().close();
    EXPECT_EQ(closed, controller->window());
    EXPECT_EQ(SettingsDomain::standard().unsignedList(SettingsKey::StockFloatWindowNetwork)->back(),
              7u);
    controller.reset();
    EXPECT_TRUE(sampler.observers.empty());
    // The next window resumes the curve.
    EXPECT_EQ(make()->contentView().topStock().data().back(), 7u);
}

TEST_F(FloatWindowTest, ModeSwitchKeepsTheLowerLeftCornerAndChangesOnlyTheWidth) {
    auto controller = make();
    QWidget& window = controller->windowWidget();
    window.move(300, 500);
    for (int mode : {2, 1, 2, 0}) {
        Settings::shared().setFloatWindowMode(mode);
        EXPECT_EQ(window.geometry().bottomLeft(), QPoint(300, 611)) << mode;
        EXPECT_EQ(window.width(), mode == 2 ? 252 : 132);
        EXPECT_EQ(window.height(), 112);
    }
    Settings::shared().setFloatWindowWideModeShowsTime(true);
    EXPECT_TRUE(controller->contentView().showTime());
}

TEST_F(FloatWindowTest, DottedRuleCountsAndDrawnDots) {
    const struct {
        double width;
        int count;
        double gap;
    } rows[] = {{236, 40, 4}, {116, 20, 4}, {10, 3, 2}, {4, 2, 0}};
    for (const auto& row : rows) {
        const ContentView::DottedRule rule = ContentView::dottedRule(row.width);
        EXPECT_EQ(rule.count, row.count) << row.width;
        EXPECT_DOUBLE_EQ(rule.gap, row.gap) << row.width;
    }
    // The wide window's rule: 2-point dots every 6 points from x 8 at y 65...66, in the
    // separator colour, with background between them.
    SettingsDomain::standard().setInteger(SettingsKey::FloatWindowMode, 2);
    auto controller = make();
    const QImage shot = controller->windowWidget().grab().toImage();
    const QColor separator = DynamicAppearance::shared().separatorColor();
    const QColor background = DynamicAppearance::shared().contentBackgroundColor();
    for (int i : {0, 20, 39}) {
        EXPECT_EQ(shot.pixelColor(8 + 6 * i, 65).rgb(), separator.rgb()) << i;
        EXPECT_EQ(shot.pixelColor(8 + 6 * i + 1, 66).rgb(), separator.rgb()) << i;
        EXPECT_EQ(shot.pixelColor(8 + 6 * i + 3, 66).rgb(), background.rgb()) << i;
    }
    EXPECT_EQ(shot.pixelColor(8 + 6 * 40, 66).rgb(), background.rgb());
}

TEST_F(FloatWindowTest, TotalsInMegabytesUpTo1024ThenGigabytes) {
    const struct {
        int64_t kb;
        const char* text;
    } rows[] = {{0, "0 MB"},
                {-1023, "0 MB"},
                {1024 * 1024, "1024 MB"},
                {1025 * 1024 - 1, "1024 MB"},
                {1025 * 1024, "1.00 GB"},
                {int64_t(5) * 1024 * 1024 * 1024, "5120.00 GB"}};
    for (const auto& row : rows)
        EXPECT_EQ(ContentView::megabyteText(row.kb), QString::fromLatin1(row.text)) << row.kb;

    // The small line per mode: the sum, then sent and received, then the 15-second average.
    totals = {QString(), 1025 * 1024, 1024 * 1024};
    const struct {
        int mode;
        const char* text;
    } lines[] = {{0, "2.00 GB"},
                 {1, "1024 MB \u2022 1.00 GB"},
                 {2, "1024 MB \u2022 1.00 GB \u2022 AVG: 0 KB/s"}};
    for (const auto& line : lines) {
        SettingsDomain::standard().setInteger(SettingsKey::FloatWindowMode, line.mode);
        auto controller = make();
        EXPECT_EQ(controller->contentView().networkDetailLine(), QString::fromUtf8(line.text));
    }
}

TEST_F(FloatWindowTest, HeaderTitleFollowsTheRecord) {
    auto controller = make();
    ContentView& view = controller->contentView();
    const QString network = Language::getLocalizedString(QStringLiteral("NETWORK"));
    EXPECT_EQ(view.titleText(), network);
    const struct {
        int netMode;
        std::optional<QString> ssid;
        QString title;
    } rows[] = {{NotReachable, QStringLiteral("Home"),
                 Language::getLocalizedString(QStringLiteral("NO NETWORK"))},
                {ReachableViaWiFi, std::nullopt, network},
                {ReachableViaWiFi, QStringLiteral("Home"), QStringLiteral("Home")}};
    for (const auto& row : rows) {
        auto record = std::make_shared<ActivityObject>();
        record->netMode = row.netMode;
        record->ssid = row.ssid;
        view.update(record);
        EXPECT_EQ(view.titleText(), row.title);
    }
}

TEST_F(FloatWindowTest, PositionIsKeptAndBroughtBackOntoAScreen) {
    const QSize wide(252, 112);
    const QList<QRect> two{QRect(0, 0, 1920, 1080), QRect(1920, 0, 1280, 1024)};
    const struct {
        QPoint stored;
        QList<QRect> screens;
        QPoint placed;
    } rows[] = {
        {{100, 200}, two, {100, 200}},        // wholly on the primary screen
        {{2500, 300}, two, {2500, 300}},      // wholly on the second one
        {{1800, 300}, two, {1920, 300}},      // overlaps the second one more
        {{2500, 300}, {two[0]}, {1668, 300}}, // its screen is gone: nearest edge
        {{-900, -900}, two, {0, 0}},          // far off: the nearest corner
        {{1900, 1050}, {two[0]}, {1668, 968}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(FloatWindowController::placeOnScreens(row.stored, wide, row.screens), row.placed)
            << row.stored.x() << "," << row.stored.y();

    // Through the window: a move is stored, and the next window starts there, clamped onto the
    // screens that exist then.
    {
        auto controller = make();
        EXPECT_EQ(controller->windowWidget().pos(),
                  FloatWindowController::defaultOrigin({132, 112}, screens));
        controller->showWindow();
        // A press-drag anywhere on the content moves the window by the pointer's travel.
        QWidget& content = controller->contentView();
        const QPoint start = content.mapToGlobal(QPoint(60, 50));
        const QPoint travel = QPoint(1850, 40) - controller->windowWidget().pos();
        const auto send = [&](QEvent::Type type, QPoint global, Qt::MouseButtons buttons) {
            QMouseEvent event(type, content.mapFromGlobal(global), global, Qt::LeftButton, buttons,
                              Qt::NoModifier);
            QApplication::sendEvent(&content, &event);
        };
        send(QEvent::MouseButtonPress, start, Qt::LeftButton);
        send(QEvent::MouseMove, start + travel / 2, Qt::LeftButton);
        send(QEvent::MouseMove, start + travel, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, start + travel, Qt::NoButton);
        EXPECT_EQ(controller->windowWidget().pos(), QPoint(1850, 40));
    }
    EXPECT_EQ(SettingsDomain::standard().value(SettingsKey::FloatWindowOrigin),
              nlohmann::json::array({1850, 40}));
    EXPECT_EQ(make()->windowWidget().pos(), QPoint(1920 - 132, 40));
}

} // namespace
