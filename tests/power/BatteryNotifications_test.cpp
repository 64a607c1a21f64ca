#include "FakePowerSources.h"
#include "platform/linux/DesktopNotifications.h"
#include "power/BatteryNotificationImages.h"
#include "power/BatteryUserNotificationDispatcher.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/Language.h"

#include "support/PrivateBus.h"
#include "support/Wait.h"

#include <QDBusArgument>
#include <QDBusMessage>

#include <gtest/gtest.h>

namespace {

struct Posted {
    QString title;
    std::optional<QString> subtitle;
    QImage canvas;
};

// A dispatcher whose notifications land in a list, with fixed levels and appearance.
struct Harness {
    std::vector<Posted> posted;
    QStringList levels;
    bool dark = false;
    BatteryUserNotificationDispatcher dispatcher{
        [this](const QString& t, const std::optional<QString>& s, const QImage& c) {
            posted.push_back({t, s, c});
        },
        [this] { return dark; }, [this] { return levels; }};

    // Feeds each percentage in turn and returns the titles posted along the way.
    QStringList walk(const std::vector<int>& percentages) {
        QStringList titles;
        for (int p : percentages) {
            const size_t before = posted.size();
            dispatcher.postBatteryPercentageDidChangeNotification(p, std::nullopt);
            EXPECT_LE(posted.size(), before + 1) << "at most one notification per call";
            if (posted.size() > before)
                titles << QStringLiteral("%1:%2").arg(p).arg(posted.back().title);
        }
        return titles;
    }
};

// Titles go through the interface language.
QString L(const char* key) {
    return Language::getLocalizedString(QString::fromLatin1(key));
}

const QString k10 = L("battery.notification.10%Remaining"),
              k20 = L("battery.notification.20%Remaining"),
              k40 = L("battery.notification.40%Remaining"),
              k50 = L("battery.notification.50%Remaining"),
              kFull = L("battery.notification.fullCharged");

} // namespace

TEST(BatteryNotificationDecisions, Walks) {
    const QString k30 = L("battery.notification.30%Remaining");
    const QStringList all = {"10", "20", "30", "40", "50"};
    struct Row {
        QStringList levels;
        std::vector<int> walk;
        QStringList expected;
    };
    const Row rows[] = {
        // 39 -> 21 skips 30 and fires it at 21; levels are not armed again on the way down.
        {all,
         {55, 54, 50, 49, 48, 45, 42, 41, 40, 39, 21, 20, 15, 10, 5},
         {"50:" + k50, "40:" + k40, "21:" + k30, "20:" + k20, "10:" + k10}},
        // A jump from 39 straight to 25 fires the 30 % notification once.
        {all, {60, 39, 25, 24}, {"25:" + k30}},
        // A rise above a level re-arms it; 50 -> 50 is no change.
        {{"50"}, {60, 55, 50, 51, 50, 50}, {"50:" + k50, "50:" + k50}},
        // The cascade moves up to the chosen armed level...
        {{"20"}, {30, 25, 9}, {"9:" + k20}},
        // ...but only looks upwards from the entry level: at 35 the 20 % level is not tested.
        {{"20"}, {60, 59, 35}, {}},
        {{"40"}, {70, 60, 41, 40}, {"40:" + k40}},
        // Without 40 chosen, 41 already enters at the 50 % level.
        {{"10", "20", "30", "50"}, {70, 60, 41, 40}, {"41:" + k50}},
        // Full charge: the guard is the cached value, so a fall and return posts again.
        {{"100"}, {98, 99, 100, 100, 97, 100}, {"100:" + kFull, "100:" + kFull}},
        {{"100"}, {100}, {}},
        {{"10", "50"}, {98, 99, 100}, {}},
        {{}, {80, 70, 50, 40, 30, 20, 10, 5, 100}, {}},
    };
    for (const Row& row : rows) {
        Harness h;
        h.levels = row.levels;
        EXPECT_EQ(h.walk(row.walk), row.expected) << row.levels.join(',').toStdString();
    }
}

TEST(BatteryNotificationDecisions, SubtitleFromTheReport) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{};
    YYSystemBatteryReport report(fake, [] { return true; });
    // Walks 60, 55, 50 through the report and returns what was posted.
    auto walk = [&](double estimate, const char* state) {
        Harness h;
        h.levels = {"50"};
        fake->snap->timeRemainingEstimate = estimate;
        for (int p : {60, 55, 50}) {
            fake->snap->descriptions = {FakePowerSources::battery(p, 100, state, false)};
            EXPECT_TRUE(report.loadReports());
            h.dispatcher.postBatteryUserNotificationIfNeed(true, &report);
        }
        EXPECT_EQ(h.posted.size(), 1u);
        return h.posted.empty() ? std::optional<QString>() : h.posted[0].subtitle;
    };
    // The body goes in as raw text, not through the lookup.
    EXPECT_EQ(walk(30, "Battery Power"),
              L("battery.notification.timeRemaining") + ": battery.powerSourceState.calculating");
    for (double unknown : {-1.0, -2.0})
        EXPECT_FALSE(walk(unknown, "AC Power").has_value());

    // Nothing without a battery or a loaded report.
    YYSystemBatteryReport unloaded(std::make_shared<FakePowerSources>(), [] { return true; });
    Harness h;
    h.dispatcher.postBatteryUserNotificationIfNeed(true, &unloaded);
    h.dispatcher.postBatteryUserNotificationIfNeed(true, nullptr);
    h.dispatcher.postBatteryUserNotificationIfNeed(false, &report);
    EXPECT_EQ(h.dispatcher.cacheBatteryPercentage(), 0);
}

TEST(BatteryNotificationImagesTest, PicturesPerLevelAndAppearance) {
    QSet<QByteArray> seen;
    for (int level : {10, 20, 30, 40, 50, 100}) {
        for (const char* variant : {"dark", "light"}) {
            const QString name = QStringLiteral("battery_%1_%2").arg(level).arg(variant);
            const QImage img = BatteryNotificationImages::image(name);
            const QImage c = BatteryNotificationImages::canvas(name);
            ASSERT_EQ(img.size(), QSize(192, 98)) << name.toStdString();
            ASSERT_EQ(c.size(), QSize(192, 192));
            // The strip sits at rows 47..144; above and below stays transparent.
            EXPECT_EQ(qAlpha(c.pixel(96, 10)) + qAlpha(c.pixel(96, 180)), 0);
            EXPECT_EQ(c.pixel(40, 47 + 49), img.pixel(40, 49));
            seen.insert(
                QByteArray(reinterpret_cast<const char*>(img.constBits()), img.sizeInBytes()));
        }
    }
    EXPECT_EQ(seen.size(), 12); // every picture differs
    EXPECT_TRUE(BatteryNotificationImages::image("battery_60_dark").isNull());

    // A notification carries the picture of its level in the current appearance.
    Harness h;
    h.levels = {"50"};
    h.walk({60, 55});
    h.dark = true;
    h.walk({50});
    ASSERT_EQ(h.posted.size(), 1u);
    EXPECT_EQ(h.posted[0].canvas, BatteryNotificationImages::canvas("battery_50_dark"));
}

TEST(BatteryNotificationDelivery, NotifyReachesTheDaemonWithTheImage) {
    PrivateBus bus;
    if (!bus.isRunning())
        GTEST_SKIP() << "no private session bus";
    // Without a daemon (or a connection) the call fails and the caller simply carries on.
    DesktopNotifications service(bus.connection());
    QDBusPendingCall unanswered = service.notify("t", "b", QImage(192, 192, QImage::Format_ARGB32));
    ASSERT_TRUE(waitUntil([&] { return unanswered.isFinished(); }, 10000));
    EXPECT_TRUE(unanswered.isError());
    EXPECT_TRUE(
        DesktopNotifications(QDBusConnection("lumenstat-none")).notify("t", "b", {}).isError());

    if (!bus.startTemplate("notification_daemon", "org.freedesktop.Notifications", false))
        GTEST_SKIP() << "python3-dbusmock's notification daemon did not start";
    std::optional<QDBusPendingCall> pending;
    BatteryUserNotificationDispatcher dispatcher(
        [&](const QString& title, const std::optional<QString>& subtitle, const QImage& canvas) {
            pending = service.notify(title, subtitle.value_or(QString()), canvas);
        },
        [] { return false; }, [] { return QStringList{"20"}; });
    dispatcher.postBatteryPercentageDidChangeNotification(40, std::nullopt);
    dispatcher.postBatteryPercentageDidChangeNotification(30, std::nullopt);
    dispatcher.postBatteryPercentageDidChangeNotification(20, QStringLiteral("Time left: 00:40"));
    ASSERT_TRUE(pending.has_value());
    ASSERT_TRUE(waitUntil([&] { return pending->isFinished(); }, 10000));
    ASSERT_FALSE(pending->isError()) << pending->error().message().toStdString();

    // The mock's record of calls: a(sav) of (time, method, arguments).
    const QDBusMessage reply =
        bus.connection().call(QDBusMessage::createMethodCall(
                                  "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                  "org.freedesktop.DBus.Mock", "GetCalls"),
                              QDBus::Block, 10000);
    ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    const QDBusArgument calls = reply.arguments().at(0).value<QDBusArgument>();
    std::vector<QVariantList> notifies;
    calls.beginArray();
    while (!calls.atEnd()) {
        quint64 when = 0;
        QString method;
        QVariantList args;
        calls.beginStructure();
        calls >> when >> method >> args;
        calls.endStructure();
        if (method == "Notify")
            notifies.push_back(args);
    }
    calls.endArray();
    ASSERT_EQ(notifies.size(), 1u);
    const QVariantList& args = notifies[0];
    EXPECT_EQ(args.value(0).toString(), "Lumenstat");
    EXPECT_EQ(args.value(3).toString(), k20);
    EXPECT_EQ(args.value(4).toString(), "Time left: 00:40");
    // image-data: width, height, stride, alpha, bits, channels, bytes.
    const QVariantMap hints = qdbus_cast<QVariantMap>(args.value(6).value<QDBusArgument>());
    const QDBusArgument image = hints["image-data"].value<QDBusArgument>();
    int width = 0, height = 0, stride = 0, bits = 0, channels = 0;
    bool alpha = false;
    QByteArray data;
    image.beginStructure();
    image >> width >> height >> stride >> alpha >> bits >> channels >> data;
    image.endStructure();
    EXPECT_TRUE(width == 192 && height == 192 && stride == 192 * 4 && alpha && bits == 8 &&
                channels == 4 && data.size() == 192 * 192 * 4);
}
