#include "FakePowerSources.h"
#include "platform/linux/PowerSupplyMonitor.h"
#include "power/PowerSourceChanges.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

namespace {

QByteArray uevent(const char* action, const char* devpath, const char* subsystem) {
    QByteArray m;
    for (const QByteArray& field :
         {QByteArray(action) + "@" + devpath, QByteArray("ACTION=") + action,
          QByteArray("DEVPATH=") + devpath, QByteArray("SUBSYSTEM=") + subsystem,
          QByteArray("SEQNUM=4711")})
        m += field + '\0';
    return m;
}

void drainEvents() {
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

} // namespace

TEST(PowerSupplyUevents, OnlyKernelPowerSupplyMessagesCount) {
    const QByteArray battery = uevent("change", "/devices/x/power_supply/BAT0", "power_supply");
    EXPECT_TRUE(PowerSupplyMonitor::isPowerSupplyEvent(battery));
    // Another subsystem, a value that merely contains the word, a message relayed by udev.
    for (const QByteArray& other :
         {uevent("add", "/devices/usb1/1-1", "usb"),
          uevent("change", "/devices/x/power_supply/BAT0", "power_supply_extra"),
          QByteArray("libudev", 8) + battery, QByteArray()})
        EXPECT_FALSE(PowerSupplyMonitor::isPowerSupplyEvent(other)) << other.toStdString();
}

TEST(PowerSupplyUevents, ABatchOfMessagesGivesOneSignal) {
    int fds[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, fds), 0);
    PowerSupplyMonitor monitor;
    ASSERT_TRUE(monitor.startWithDescriptor(fds[0]));
    int signals_ = 0;
    QObject::connect(&monitor, &PowerSupplyMonitor::powerSupplyChanged, [&] { ++signals_; });

    auto send = [&](const QByteArray& m) {
        ASSERT_GT(::send(fds[1], m.constData(), size_t(m.size()), 0), 0);
    };
    send(uevent("add", "/devices/usb1", "usb"));
    drainEvents();
    EXPECT_EQ(signals_, 0);

    send(uevent("change", "/devices/x/power_supply/BAT0", "power_supply"));
    send(uevent("change", "/devices/x/power_supply/AC", "power_supply"));
    drainEvents();
    EXPECT_EQ(signals_, 1);
    monitor.stop();
    ::close(fds[1]);
}

TEST(PowerSourceChangeWatch, RereadEverySixtyTicksOnlyWhenSomethingChanged) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{{"CurrentCapacity", 2000}};
    fake->snap->descriptions = {FakePowerSources::battery(50, 100, "Battery Power", false)};
    std::vector<ActivityObserver*> subscribed;
    PowerSourceChanges changes(
        fake, [&](ActivityObserver* o) { subscribed.push_back(o); }, false);
    int calls = 0;
    changes.heartbeatTick(); // nothing registered yet: ignored
    changes.registerPowerSourceChanges([&] { ++calls; });
    ASSERT_EQ(subscribed, std::vector<ActivityObserver*>{&changes});

    auto ticks = [&](int n) {
        for (int t = 0; t < n; ++t)
            changes.heartbeatTick();
    };
    ticks(60);
    drainEvents();
    EXPECT_EQ(calls, 0); // same reading

    fake->snap->descriptions = {FakePowerSources::battery(49, 100, "Battery Power", false)};
    const int before = fake->snapshotCalls;
    ticks(59);
    EXPECT_EQ(fake->snapshotCalls, before); // nothing is read between re-reads
    drainEvents();
    EXPECT_EQ(calls, 0);
    changes.heartbeatTick(); // the 60th
    EXPECT_EQ(calls, 0);     // the callback runs later, not inside the tick
    drainEvents();
    EXPECT_EQ(calls, 1);

    ticks(60);
    drainEvents();
    EXPECT_EQ(calls, 1);

    // The registry alone changing counts as well.
    fake->registry = QVariantMap{{"CurrentCapacity", 1990}};
    ticks(60);
    drainEvents();
    EXPECT_EQ(calls, 2);

    // A kernel event always runs the path and becomes the new reference.
    fake->snap->timeRemainingEstimate = 1234;
    changes.powerSupplyEventArrived();
    drainEvents();
    EXPECT_EQ(calls, 3);
    ticks(60);
    drainEvents();
    EXPECT_EQ(calls, 3);

    // Registering again does not subscribe twice.
    changes.registerPowerSourceChanges([&] { calls += 10; });
    EXPECT_EQ(subscribed.size(), 1u);
}
