#include "FakePowerSources.h"
#include "platform/linux/DesktopNotifications.h"
#include "power/BatteryNotificationImages.h"
#include "power/BatteryUserNotificationDispatcher.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/Language.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

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
    QStringList walk(std::initializer_list<int> percentages) {
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

const QString k10 = L("battery.notification.10%Remaining");
const QString k20 = L("battery.notification.20%Remaining");
const QString k40 = L("battery.notification.40%Remaining");
const QString k50 = L("battery.notification.50%Remaining");
const QString kFull = L("battery.notification.fullCharged");

} // namespace

TEST(BatteryNotificationDecisions, DescentFromFiftyFive) {
    Harness h;
    h.levels = {"10", "20", "30", "40", "50"};
    EXPECT_EQ(h.walk({55}), QStringList());
    EXPECT_EQ(h.dispatcher.cacheBatteryPercentage(), 55);
    EXPECT_FALSE(h.dispatcher.percentage50ReadyToPost()); // the first call arms nothing
    EXPECT_EQ(h.walk({54}), QStringList());
    EXPECT_TRUE(h.dispatcher.percentage10ReadyToPost());
    EXPECT_TRUE(h.dispatcher.percentage50ReadyToPost());
    EXPECT_EQ(h.walk({50, 49, 48, 45, 42, 41}), QStringList{"50:" + k50});
    EXPECT_EQ(h.walk({40, 39}), QStringList{"40:" + k40});
    // 39 -> 21 skips 30 and fires it at 21; the levels are not armed again on the way down.
    EXPECT_EQ(
        h.walk({21, 20, 15, 10, 5}),
        (QStringList{"21:" + L("battery.notification.30%Remaining"), "20:" + k20, "10:" + k10}));
}

TEST(BatteryNotificationDecisions, SkippedLevelsStillFireOnce) {
    Harness h;
    h.levels = {"10", "20", "30", "40", "50"};
    // A jump from 39 straight to 25 fires the 30 % notification once.
    EXPECT_EQ(h.walk({60, 39, 25, 24}),
              QStringList{"25:" + L("battery.notification.30%Remaining")});
}

TEST(BatteryNotificationDecisions, RiseAboveALevelReArmsIt) {
    Harness h;
    h.levels = {"50"};
    EXPECT_EQ(h.walk({60, 55, 50, 51, 50}), (QStringList{"50:" + k50, "50:" + k50}));
    // 50 -> 50 is no change and posts nothing.
    EXPECT_EQ(h.walk({50}), QStringList());
}

TEST(BatteryNotificationDecisions, CascadeMovesUpToTheChosenArmedLevel) {
    Harness h;
    h.levels = {"20"};
    EXPECT_EQ(h.walk({30, 25, 9}), QStringList{"9:" + k20});
    EXPECT_FALSE(h.dispatcher.percentage20ReadyToPost());
    // The cascade only looks upwards from the entry level: at 35 the 20 % level is not tested.
    Harness g;
    g.levels = {"20"};
    EXPECT_EQ(g.walk({60, 59, 35}), QStringList());
}

TEST(BatteryNotificationDecisions, FortyIsHonouredWhenStored) {
    Harness h;
    h.levels = {"40"};
    EXPECT_EQ(h.walk({70, 60, 41, 40}), QStringList{"40:" + k40});
    Harness g;
    g.levels = {"10", "20", "30", "50"};
    // Without 40 chosen, 41 already enters at the 50 % level.
    EXPECT_EQ(g.walk({70, 60, 41, 40}), QStringList{"41:" + k50});
}

TEST(BatteryNotificationDecisions, FullCharge) {
    Harness h;
    h.levels = {"100"};
    EXPECT_EQ(h.walk({98, 99, 100}), QStringList{"100:" + kFull});
    EXPECT_EQ(h.walk({100}), QStringList());
    // A fall from 100 and back posts again: the guard is the cached value.
    EXPECT_EQ(h.walk({97, 100}), QStringList{"100:" + kFull});

    Harness start;
    start.levels = {"100"};
    EXPECT_EQ(start.walk({100}), QStringList());

    Harness unchosen;
    unchosen.levels = {"10", "50"};
    EXPECT_EQ(unchosen.walk({98, 99, 100}), QStringList());
}

TEST(BatteryNotificationDecisions, NoChosenLevelsPostsNothing) {
    Harness h;
    EXPECT_EQ(h.walk({80, 70, 50, 40, 30, 20, 10, 5, 100}), QStringList());
    // The flags are armed all the same.
    EXPECT_TRUE(h.dispatcher.percentage50ReadyToPost());
}

TEST(BatteryNotificationDecisions, ResetOnlyArms) {
    Harness h;
    h.dispatcher.setCacheBatteryPercentage(31);
    h.dispatcher.resetReadyToPost();
    EXPECT_TRUE(h.dispatcher.percentage10ReadyToPost());
    EXPECT_TRUE(h.dispatcher.percentage30ReadyToPost());
    EXPECT_FALSE(h.dispatcher.percentage40ReadyToPost());
    h.dispatcher.setCacheBatteryPercentage(5);
    h.dispatcher.resetReadyToPost();
    EXPECT_TRUE(h.dispatcher.percentage30ReadyToPost());
}

TEST(BatteryNotificationDecisions, ImageFollowsTheAppearance) {
    Harness h;
    h.levels = {"50"};
    h.walk({60, 55});
    h.dark = true;
    h.walk({50});
    ASSERT_EQ(h.posted.size(), 1u);
    const QImage& c = h.posted[0].canvas;
    EXPECT_EQ(c.size(), QSize(192, 192));
    EXPECT_EQ(c, BatteryNotificationImages::canvas("battery_50_dark"));
    EXPECT_NE(c, BatteryNotificationImages::canvas("battery_50_light"));
}

TEST(BatteryNotificationDecisions, SubtitleFromTheReport) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{};
    fake->snap->descriptions = {FakePowerSources::battery(60, 100, "Battery Power", false)};
    fake->snap->timeRemainingEstimate = 30;
    YYSystemBatteryReport report(fake, [] { return true; });
    ASSERT_TRUE(report.loadReports());

    Harness h;
    h.levels = {"50"};
    h.dispatcher.postBatteryUserNotificationIfNeed(true, &report); // records 60
    fake->snap->descriptions = {FakePowerSources::battery(55, 100, "Battery Power", false)};
    report.loadReports();
    h.dispatcher.postBatteryUserNotificationIfNeed(true, &report);
    fake->snap->descriptions = {FakePowerSources::battery(50, 100, "Battery Power", false)};
    report.loadReports();
    h.dispatcher.postBatteryUserNotificationIfNeed(true, &report);
    ASSERT_EQ(h.posted.size(), 1u);
    // The body goes in as raw text, not through the lookup.
    EXPECT_EQ(h.posted[0].subtitle,
              L("battery.notification.timeRemaining") + ": battery.powerSourceState.calculating");

    for (double unknown : {-1.0, -2.0}) {
        Harness g;
        g.levels = {"50"};
        fake->snap->timeRemainingEstimate = unknown;
        for (int p : {60, 55, 50}) {
            fake->snap->descriptions = {FakePowerSources::battery(p, 100, "AC Power", false)};
            report.loadReports();
            g.dispatcher.postBatteryUserNotificationIfNeed(true, &report);
        }
        ASSERT_EQ(g.posted.size(), 1u);
        EXPECT_FALSE(g.posted[0].subtitle.has_value());
    }
}

TEST(BatteryNotificationDecisions, NothingWithoutBatteryOrReport) {
    auto fake = std::make_shared<FakePowerSources>();
    YYSystemBatteryReport unloaded(fake, [] { return true; });
    Harness h;
    h.levels = {"50"};
    h.dispatcher.postBatteryUserNotificationIfNeed(true, &unloaded);
    h.dispatcher.postBatteryUserNotificationIfNeed(true, nullptr);
    h.dispatcher.postBatteryUserNotificationIfNeed(false, &unloaded);
    EXPECT_EQ(h.dispatcher.cacheBatteryPercentage(), 0);
}

TEST(BatteryNotificationImagesTest, PicturesPerLevelAndAppearance) {
    QSet<QString> seen;
    for (int level : {10, 20, 30, 40, 50, 100}) {
        for (const char* variant : {"dark", "light"}) {
            const QString name = QStringLiteral("battery_%1_%2").arg(level).arg(variant);
            const QImage img = BatteryNotificationImages::image(name);
            ASSERT_EQ(img.size(), QSize(192, 98)) << name.toStdString();
            const QImage c = BatteryNotificationImages::canvas(name);
            ASSERT_EQ(c.size(), QSize(192, 192));
            // The strip sits at rows 47..144; above and below stays transparent.
            EXPECT_EQ(qAlpha(c.pixel(96, 10)), 0);
            EXPECT_EQ(qAlpha(c.pixel(96, 180)), 0);
            EXPECT_EQ(c.pixel(40, 47 + 49), img.pixel(40, 49));
            seen.insert(QString::fromLatin1(
                QByteArray(reinterpret_cast<const char*>(img.constBits()), img.sizeInBytes())
                    .toBase64()));
        }
    }
    EXPECT_EQ(seen.size(), 12); // every picture differs
    EXPECT_TRUE(BatteryNotificationImages::image("battery_60_dark").isNull());
    EXPECT_TRUE(BatteryNotificationImages::image("battery_50_dim").isNull());
    const QImage blank = BatteryNotificationImages::canvas("bolt");
    EXPECT_EQ(blank.size(), QSize(192, 192));
    EXPECT_EQ(qAlpha(blank.pixel(96, 96)), 0);
}

// --- delivery to a notification daemon on a private bus -----------------------------------

namespace {

class PrivateBus {
public:
    PrivateBus() {
        if (!QFile::exists("/usr/bin/dbus-daemon"))
            return;
        QProcess daemon;
        daemon.start("/usr/bin/dbus-daemon",
                     {"--session", "--print-address=1", "--print-pid=1", "--fork", "--nosyslog"});
        if (!daemon.waitForFinished(10000))
            return;
        const QStringList lines =
            QString::fromUtf8(daemon.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        if (lines.size() < 2)
            return;
        address_ = lines[0].trimmed();
        pid_ = lines[1].trimmed().toLongLong();
        connection_ = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(address_, "lumenstat-battery-test"));
    }
    ~PrivateBus() {
        if (mock_.state() != QProcess::NotRunning) {
            mock_.terminate();
            mock_.waitForFinished(5000);
        }
        connection_.reset();
        QDBusConnection::disconnectFromBus("lumenstat-battery-test");
        if (pid_ > 0)
            ::kill(pid_t(pid_), SIGTERM);
    }
    bool ok() const { return connection_ && connection_->isConnected(); }
    QDBusConnection& bus() { return *connection_; }

    bool startNotificationDaemon() {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DBUS_SESSION_BUS_ADDRESS", address_);
        mock_.setProcessEnvironment(env);
        mock_.start("/usr/bin/python3", {"-m", "dbusmock", "--template", "notification_daemon"});
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < 20000) {
            if (bus().interface()->isServiceRegistered("org.freedesktop.Notifications"))
                return true;
            if (mock_.state() == QProcess::NotRunning)
                return false;
            QThread::msleep(50);
        }
        return false;
    }

private:
    QString address_;
    qint64 pid_ = 0;
    std::unique_ptr<QDBusConnection> connection_;
    QProcess mock_;
};

bool waitFor(QDBusPendingCall call) {
    QElapsedTimer t;
    t.start();
    while (!call.isFinished() && t.elapsed() < 10000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    return call.isFinished();
}

} // namespace

TEST(BatteryNotificationDelivery, NotifyReachesTheDaemonWithTheImage) {
    PrivateBus bus;
    if (!bus.ok())
        GTEST_SKIP() << "no private session bus";
    if (!bus.startNotificationDaemon())
        GTEST_SKIP() << "python3-dbusmock's notification daemon did not start";

    DesktopNotifications service(bus.bus());
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
    ASSERT_TRUE(waitFor(*pending));
    ASSERT_FALSE(pending->isError()) << pending->error().message().toStdString();

    QDBusMessage get = QDBusMessage::createMethodCall("org.freedesktop.Notifications",
                                                      "/org/freedesktop/Notifications",
                                                      "org.freedesktop.DBus.Mock", "GetCalls");
    const QDBusMessage reply = bus.bus().call(get, QDBus::Block, 10000);
    ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    const QDBusArgument calls = reply.arguments().at(0).value<QDBusArgument>();

    int notifyCalls = 0;
    calls.beginArray();
    while (!calls.atEnd()) {
        quint64 when = 0;
        QString method;
        QVariantList args;
        calls.beginStructure();
        calls >> when >> method >> args;
        calls.endStructure();
        if (method != "Notify")
            continue;
        ++notifyCalls;
        ASSERT_EQ(args.size(), 8);
        EXPECT_EQ(args[0].toString(), "Lumenstat");
        EXPECT_EQ(args[3].toString(), k20);
        EXPECT_EQ(args[4].toString(), "Time left: 00:40");
        const QVariantMap hints = qdbus_cast<QVariantMap>(args[6].value<QDBusArgument>());
        ASSERT_TRUE(hints.contains("image-data"));
        const QDBusArgument image = hints["image-data"].value<QDBusArgument>();
        int width = 0, height = 0, stride = 0, bits = 0, channels = 0;
        bool alpha = false;
        QByteArray data;
        image.beginStructure();
        image >> width >> height >> stride >> alpha >> bits >> channels >> data;
        image.endStructure();
        EXPECT_EQ(width, 192);
        EXPECT_EQ(height, 192);
        EXPECT_EQ(stride, 192 * 4);
        EXPECT_TRUE(alpha);
        EXPECT_EQ(bits, 8);
        EXPECT_EQ(channels, 4);
        EXPECT_EQ(data.size(), 192 * 192 * 4);
    }
    calls.endArray();
    EXPECT_EQ(notifyCalls, 1);
}

TEST(BatteryNotificationDelivery, NoDaemonIsNotAFailure) {
    PrivateBus bus;
    if (!bus.ok())
        GTEST_SKIP() << "no private session bus";
    DesktopNotifications service(bus.bus());
    QDBusPendingCall call =
        service.notify("title", "body", QImage(192, 192, QImage::Format_ARGB32));
    ASSERT_TRUE(waitFor(call));
    EXPECT_TRUE(call.isError()); // nobody owns the name; the caller simply carries on

    DesktopNotifications disconnected(QDBusConnection("lumenstat-no-such-connection"));
    EXPECT_TRUE(disconnected.notify("t", "b", QImage()).isError());
}
