// The status item on a private session bus, seen from a small tray host (sni_host.py) with
// ticks under the test's control: the wide pixmap, change-only updates, the square
// rendering's label (sent only to hosts that show labels) and clicks. The real app's wiring
// (live style switch, watcher restarts) is covered by statusitem_itest.py.
#include "app/SettingValue.h"
#include "menubar/NetMenuBarItemController.h"
#include "menubar/StatusItem.h"
#include "platform/linux/StatusNotifierItem.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

const QString kHostScript = QStringLiteral(LUMENSTAT_SOURCE_DIR "/tests/menubar/sni_host.py");

class PrivateBus {
public:
    bool start() {
        daemon_.setProgram("dbus-daemon");
        daemon_.setArguments({"--session", "--nofork", "--print-address=1"});
        daemon_.start();
        if (!daemon_.waitForStarted(5000) || !daemon_.waitForReadyRead(5000))
            return false;
        address = QString::fromUtf8(daemon_.readLine()).trimmed();
        return !address.isEmpty();
    }
    ~PrivateBus() {
        daemon_.kill();
        daemon_.waitForFinished(2000);
    }
    QString address;

private:
    QProcess daemon_;
};

class Host {
public:
    explicit Host(const QString& address, const QString& processName = {}) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DBUS_SESSION_BUS_ADDRESS", address);
        proc_.setProcessEnvironment(env);
        proc_.setProgram("/usr/bin/python3");
        proc_.setArguments(processName.isEmpty() ? QStringList{kHostScript}
                                                 : QStringList{kHostScript, "--as", processName});
        proc_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        proc_.start();
    }
    ~Host() { stop(); }
    void stop() {
        if (proc_.state() == QProcess::NotRunning)
            return;
        proc_.write("quit\n");
        if (!proc_.waitForFinished(3000))
            proc_.kill();
        proc_.waitForFinished(1000);
    }
    void send(const QByteArray& line) { proc_.write(line + "\n"); }

    // Pumps the event loop until an event named name arrives after index from; returns it.
    std::optional<QJsonObject> waitFor(const QString& name, int timeoutMs = 5000,
                                       std::function<bool(const QJsonObject&)> accept = {}) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < timeoutMs) {
            drain();
            for (; seen_ < events.size(); ++seen_) {
                const QJsonObject& o = events[seen_];
                if (o.value("event").toString() == name && (!accept || accept(o))) {
                    ++seen_;
                    return o;
                }
            }
            if (proc_.state() == QProcess::NotRunning && !proc_.canReadLine())
                break;
            QThread::msleep(5);
        }
        return std::nullopt;
    }
    // Drains the events of a quiet period; returns how many named name arrived.
    int countDuring(const QString& name, int ms) {
        const size_t before = events.size();
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < ms) {
            drain();
            QThread::msleep(5);
        }
        int n = 0;
        for (size_t i = before; i < events.size(); ++i)
            if (events[i].value("event").toString() == name)
                ++n;
        seen_ = events.size();
        return n;
    }
    std::vector<QJsonObject> events;

private:
    void drain() {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        while (proc_.canReadLine())
            events.push_back(QJsonDocument::fromJson(proc_.readLine()).object());
    }
    QProcess proc_;
    size_t seen_ = 0;
};

QSize firstPixmap(const QJsonObject& o) {
    const QJsonArray all = o.value("pixmaps").toArray();
    if (all.isEmpty())
        return {};
    const QJsonArray first = all.first().toArray();
    return {first.at(0).toInt(), first.at(1).toInt()};
}

ActivityRecord tick(uint64_t sent, uint64_t received) {
    auto a = std::make_shared<ActivityObject>();
    a->netMode = ReachableViaWiFi;
    a->paceActivities = {sent, received};
    return a;
}

bool hostAvailable() {
    if (QProcess::execute("/usr/bin/python3", {"-c", "import dbus, gi"}) != 0)
        return false;
    QProcess probe;
    probe.start("dbus-daemon", {"--version"});
    return probe.waitForFinished(3000) && probe.exitCode() == 0;
}

TEST(StatusItemOnBus, HostSeesChangeOnlyUpdatesLabelsForLabelHostsAndClicks) {
    if (!hostAvailable())
        GTEST_SKIP() << "dbus-daemon or python3 dbus/gi missing";
    PrivateBus bus;
    ASSERT_TRUE(bus.start());
    QDBusConnection conn = QDBusConnection::connectToBus(bus.address, "statusitem-test");
    ASSERT_TRUE(conn.isConnected());

    // A host that shows labels beside icons, as GNOME Shell does.
    auto host = std::make_unique<Host>(bus.address, "gnome-shell");
    ASSERT_TRUE(host->waitFor("ready"));

    auto& settings = SettingsDomain::standard();
    settings.setString(SettingsKey::TrayRendering, "wide");
    settings.setInteger(SettingsKey::NetMenuBoxType, 1);
    settings.remove(SettingsKey::MenuBoxPreferredWidth);
    {
        NetMenuBarItemController controller(conn, nullptr);
        controller.statusItem()->setDevicePixelRatioOverride(2.0);
        QPoint clicked;
        controller.showPopoverHandler = [&](QPoint at) { clicked = at; };
        controller.loadMenuBarItemIfNeed();

        auto registered = host->waitFor("registered");
        ASSERT_TRUE(registered);
        EXPECT_EQ(firstPixmap(*registered), QSize(248, 44)) << "Wide: 124 x 22 points at 2x";
        EXPECT_EQ(registered->value("menu").toString(), "/NO_DBUSMENU");
        EXPECT_EQ(registered->value("label").toString(), "") << "no label in wide rendering";

        // Let the signals of the first drawing pass, then tick: a tick that changes the
        // pixels sends one NewIcon; the same tick again sends nothing.
        host->countDuring("NewIcon", 300);
        controller.itemContainer()->networkActivityDidUpdate(tick(12, 2345));
        auto icon = host->waitFor("NewIcon");
        ASSERT_TRUE(icon);
        EXPECT_GT(icon->value("opaque").toInt(), 50);
        controller.itemContainer()->networkActivityDidUpdate(tick(12, 2345));
        EXPECT_EQ(host->countDuring("NewIcon", 400), 0);
        controller.itemContainer()->networkActivityDidUpdate(tick(900, 70000));
        EXPECT_TRUE(host->waitFor("NewIcon"));

        // A click keeps the host's position.
        host->send("activate 321 7");
        EXPECT_TRUE(host->waitFor("activated"));
        host->countDuring("none", 200);
        EXPECT_EQ(clicked, QPoint(321, 7));

        // Square rendering: a square icon that is not sent again, the speeds in the label.
        SettingValue::apply(SettingsKey::TrayRendering, SettingValue::Json("square"));
        controller.itemContainer()->networkActivityDidUpdate(tick(12, 2345));
        auto label = host->waitFor("XAyatanaNewLabel", 3000, [](const QJsonObject& o) {
            return o.value("label").toString().contains("2.29 MB/s");
        });
        ASSERT_TRUE(label);
        EXPECT_TRUE(label->value("label").toString().contains("12 KB/s"));
        EXPECT_EQ(firstPixmap(*label), QSize(44, 44));
        host->countDuring("none", 200);
        controller.itemContainer()->networkActivityDidUpdate(tick(13, 2345));
        EXPECT_TRUE(host->waitFor("XAyatanaNewLabel"));
        EXPECT_EQ(host->countDuring("NewIcon", 300), 0) << "the square icon did not change";

        // A host that shows no labels gets none: the speeds go to the tooltip only.
        host->stop();
        host = std::make_unique<Host>(bus.address);
        ASSERT_TRUE(host->waitFor("ready"));
        auto again = host->waitFor("registered");
        ASSERT_TRUE(again);
        EXPECT_EQ(again->value("label").toString(), "");
        controller.itemContainer()->networkActivityDidUpdate(tick(40, 50));
        auto tip = host->waitFor("NewToolTip", 3000, [](const QJsonObject& o) {
            return o.value("tooltip_text").toString().contains("50 KB/s");
        });
        ASSERT_TRUE(tip);
        EXPECT_EQ(tip->value("label").toString(), "");
        EXPECT_EQ(host->countDuring("XAyatanaNewLabel", 300), 0);
        host->stop();
    }
    settings.remove(SettingsKey::TrayRendering);
    settings.remove(SettingsKey::NetMenuBoxType);
    QDBusConnection::disconnectFromBus("statusitem-test");
}

} // namespace
