#include "FakePowerSources.h"
#include "platform/linux/PowerSupplyMonitor.h"
#include "power/PowerSourceChanges.h"

#include <QCoreApplication>

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

TEST(PowerSupplyUevents, OnlyKernelPowerSupplyMessagesCountAndABatchGivesOneSignal) {
    int fds[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, fds), 0);
    PowerSupplyMonitor monitor;
    ASSERT_TRUE(monitor.startWithDescriptor(fds[0]));
    int signals_ = 0;
    QObject::connect(&monitor, &PowerSupplyMonitor::powerSupplyChanged, [&] { ++signals_; });
    auto send = [&](const std::vector<QByteArray>& messages) {
        for (const QByteArray& m : messages)
            ASSERT_EQ(::send(fds[1], m.constData(), size_t(m.size()), 0), m.size());
        drainEvents();
    };

    const QByteArray battery = uevent("change", "/devices/x/power_supply/BAT0", "power_supply");
    // Another subsystem, a value that merely contains the word, a message relayed by udev,
    // an empty datagram.
    send({uevent("add", "/devices/usb1/1-1", "usb"),
          uevent("change", "/devices/x/power_supply/BAT0", "power_supply_extra"),
          QByteArray("libudev", 8) + battery, QByteArray()});
    EXPECT_EQ(signals_, 0);
    send({battery, uevent("change", "/devices/x/power_supply/AC", "power_supply")});
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
    changes.registerPowerSourceChanges([&] { ++calls; }); // does not subscribe twice
    ASSERT_EQ(subscribed, std::vector<ActivityObserver*>{&changes});
    // Runs n ticks and the events they queued; returns the calls made so far.
    auto ticks = [&](int n) {
        for (int t = 0; t < n; ++t)
            changes.heartbeatTick();
        drainEvents();
        return calls;
    };
    EXPECT_EQ(ticks(60), 0); // same reading

    fake->snap->descriptions = {FakePowerSources::battery(49, 100, "Battery Power", false)};
    const int before = fake->snapshotCalls;
    EXPECT_EQ(ticks(59), 0);
    EXPECT_EQ(fake->snapshotCalls, before); // nothing is read between re-reads
    changes.heartbeatTick();                // the 60th
    EXPECT_EQ(calls, 0);                    // the callback runs later, not inside the tick
    EXPECT_EQ(ticks(0), 1);
    EXPECT_EQ(ticks(60), 1);

    // The registry alone changing counts as well.
    fake->registry = QVariantMap{{"CurrentCapacity", 1990}};
    EXPECT_EQ(ticks(60), 2);

    // A kernel event always runs the path and becomes the new reference.
    fake->snap->timeRemainingEstimate = 1234;
    changes.powerSupplyEventArrived();
    EXPECT_EQ(ticks(0), 3);
    EXPECT_EQ(ticks(60), 3);
}
