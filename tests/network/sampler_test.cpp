// The one-second sampler driven tick by tick through a fake link table, route and clock.
#include "network/NetworkMonitor.h"
#include "platform/NetworkSources.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace {

using List = std::vector<uint64_t>;
constexpr uint64_t KB = 1024;

// A link table as the kernel dumps it, plus the default route's link (empty: no route).
struct FakeNet : LinkSource, RouteSource, WiFiSource {
    std::vector<LinkEntry> dump;
    std::string routeVia = "eth0";
    bool unreadable = false;
    QString ipv4;
    WiFiDetails wifi;

    bool readCounters(std::vector<LinkEntry>& out) override {
        out = dump;
        return !unreadable;
    }
    QString lastIPv4Address() override { return ipv4; }
    WiFiDetails current() override { return wifi; }
    std::optional<uint32_t> reachabilityFlags() override {
        if (unreadable)
            return std::nullopt;
        if (routeVia.empty())
            return 0u;
        const auto e = std::find_if(dump.begin(), dump.end(),
                                    [this](const LinkEntry& l) { return l.name == routeVia; });
        return defaultRouteFlags(e == dump.end() ? nullptr : &*e);
    }
    LinkEntry& link(const std::string& name, const std::string& kind = {}) {
        for (LinkEntry& e : dump)
            if (e.name == name)
                return e;
        return dump.emplace_back(LinkEntry{int(dump.size()) + 1, name, kind, true, false, true});
    }
    void set(const std::string& name, uint64_t rxKB, uint64_t txKB) {
        link(name).rxBytes = rxKB * KB;
        link(name).txBytes = txKB * KB;
    }
};

struct Recorder : ActivityObserver {
    std::vector<ActivityRecord> records;
    bool offMainThread = false;
    void networkActivityDidUpdate(const ActivityRecord& r) override {
        records.push_back(r);
        offMainThread = offMainThread || QThread::currentThread() != qApp->thread();
    }
};

class SamplerTest : public ::testing::Test {
protected:
    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    std::shared_ptr<FakeNet> net = std::make_shared<FakeNet>();
    double now = 1000.0; // monotonic seconds
    Recorder recorder;
    std::unique_ptr<NetworkMonitor> monitor = make();

    std::unique_ptr<NetworkMonitor> make(bool isExtension = false) {
        auto m = std::make_unique<NetworkMonitor>(
            NetworkMonitorSources{net, net, net, [this] { return now; }, &group, isExtension});
        m->addActivityObserver(&recorder);
        return m;
    }
    // One tick, `seconds` after the previous one; the record is delivered within it.
    const ActivityObject& tick(double seconds = 1.0) {
        now += seconds;
        const size_t before = recorder.records.size();
        monitor->updateNetworkInfo();
        EXPECT_EQ(recorder.records.size(), before + 1);
        return *recorder.records.back();
    }
    const ActivityObject& step(uint64_t rxKB, uint64_t txKB, double seconds = 1.0) {
        net->set("eth0", rxKB, txKB);
        return tick(seconds);
    }
};

TEST_F(SamplerTest, FirstSampleThenPacesTotalsAndHistories) {
    const ActivityObject& first = step(100, 50);
    EXPECT_EQ(first.paceActivities, (NetActivities{0, 0}));
    EXPECT_TRUE(first.sentNumbers->empty());
    EXPECT_FALSE(group.contains(SettingsKey::NetActivitiesWiFiData));

    const ActivityObject& second = step(130, 60);
    EXPECT_EQ(second.paceActivities, (NetActivities{10, 30}));
    EXPECT_EQ(second.netActivities, (NetActivities{10, 30}));
    EXPECT_EQ(second.seesionMaxActivities, (NetActivities{10, 30}));
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWiFiData), (List{10, 30}));

    // A sent counter that reads 0 KB makes every tick a first sample.
    step(200, 0);
    EXPECT_EQ(step(300, 0).paceActivities, (NetActivities{0, 0}));
    EXPECT_EQ(monitor->downPaces().size(), 2u);

    // The histories keep the newest sixty (newest first), in records of their own.
    uint64_t rx = 300, tx = 1;
    for (uint64_t i = 1; i <= 61; ++i) {
        net->set("eth0", rx += i, tx += 2 * i);
        tick();
    }
    const ActivityObject& last = *recorder.records.back();
    ASSERT_EQ(last.downNumbers->size(), 60u);
    EXPECT_EQ(last.downNumbers->front(), 61u);
    EXPECT_EQ(last.downNumbers->back(), 2u);
    EXPECT_EQ(*second.downNumbers, List{30});
}

// An upload counter that did not grow (a download stall is not dirty) and a late tick count
// into the totals but raise no session maximum.
TEST_F(SamplerTest, DirtyTicksCountIntoTotalsButRaiseNoMaximum) {
    step(100, 50);
    step(110, 55);
    const ActivityObject& stalled = step(510, 55);
    EXPECT_EQ(stalled.netActivities, (NetActivities{5, 410}));
    EXPECT_EQ(stalled.seesionMaxActivities, (NetActivities{5, 10}));
    EXPECT_FALSE(monitor->dirtyActivity()) << "the mark lasts one tick";
    EXPECT_EQ(step(510, 75).seesionMaxActivities, (NetActivities{20, 10}));

    const ActivityObject& late = step(60'510, 6'075, 60.0); // stopped for a minute
    EXPECT_EQ(late.paceActivities, (NetActivities{6000, 60'000}));
    EXPECT_EQ(late.seesionMaxActivities, (NetActivities{20, 10}));
    EXPECT_EQ(step(60'530, 6'076, 1.4).seesionMaxActivities, (NetActivities{20, 20}))
        << "1.4 s is on time";
}

TEST_F(SamplerTest, SixtyFourBitCountersNeverWrapAndBackwardsCountersAddNothing) {
    // A 10 Gbit/s link passes 2^32 bytes every 3.4 s.
    constexpr uint64_t big = uint64_t{5} << 22; // KB: 5 * 2^32 bytes
    net->set("eth0", big - 4, 7);
    net->set("wlan0", 2, 1);
    tick();
    const ActivityObject& fast = step(big + 1'250'000, 7 + (uint64_t{1} << 23));
    EXPECT_EQ(fast.paceActivities, (NetActivities{8 * 1024 * 1024, 1'250'004}));
    EXPECT_EQ(fast.netActivities, fast.paceActivities);
    net->set("eth0", big, 8 + (uint64_t{1} << 23)); // a driver reset its counter
    const ActivityObject& r = tick();
    EXPECT_EQ(r.paceActivities, (NetActivities{1, 0}));
    EXPECT_EQ(r.netActivities, (NetActivities{8 * 1024 * 1024 + 1, 1'250'004}));
}

// A recorded link table: each byte is counted once, on the kind of link the route uses.
TEST_F(SamplerTest, RecordedLinkTableCountsEachByteOnce) {
    // Stacked links are in their parents' counters; a container's veth "eth0" counts, and so
    // does the modem "mbim0" by its device type. Counters in 4 MB.
    // clang-format off
    const struct { const char *name, *kind; bool modem; uint64_t rx, tx; } rows[] = {
        {"lo", "", false, 1, 1}, {"enp3s0", "", false, 4, 8}, {"enp3s0.10", "vlan", false, 1, 2},
        {"enp3s0v", "macvlan", false, 1, 1}, {"wlp2s0", "", false, 16, 32},
        {"wlp2s0.ip", "ipvlan", false, 1, 1}, {"eth0", "veth", false, 2, 1},
        {"veth1a2b", "veth", false, 1, 1}, {"tun0", "tun", false, 1, 1},
        {"mbim0", "", true, 64, 128}, {"wwan0", "", false, 1, 1}, {"wwan0.5", "vlan", true, 1, 1}};
    // clang-format on
    for (const auto& r : rows) {
        net->link(r.name, r.kind).wwanDevice = r.modem;
        net->set(r.name, r.rx * 4096, r.tx * 4096);
    }
    const auto pace = [&](int s) { return monitor->currentNetworkPaceWithReachabilityStatus(s); };
    EXPECT_EQ(pace(1), (NetActivities{(32 + 8 + 1) * 4096, (16 + 4 + 2) * 4096}));
    EXPECT_EQ(pace(2), (NetActivities{(128 + 1) * 4096, (64 + 1) * 4096}));
    EXPECT_EQ(pace(0), (NetActivities{0, 0}));

    // A route through the modem named "mbim0" reads as WWAN, and its totals grow.
    net->routeVia = "mbim0";
    tick();
    net->link("mbim0").rxBytes += 300 * KB;
    net->link("mbim0").txBytes += 30 * KB;
    const ActivityObject& wwan = tick();
    EXPECT_EQ(wwan.netMode, 2);
    EXPECT_EQ(wwan.netActivities, (NetActivities{30, 300}));

    net->routeVia = "enp3s0";
    net->link("enp3s0").carrier = false; // cable pulled: no route
    EXPECT_EQ(tick().netMode, 0);
    net->link("enp3s0").carrier = true;
    EXPECT_EQ(tick().netMode, 1);
    net->routeVia = "tun0"; // any other route reads as the local-link kind
    EXPECT_EQ(tick().netMode, 1);
    net->unreadable = true;
    EXPECT_EQ(pace(1), (NetActivities{0, 0}));
}

TEST_F(SamplerTest, ModeSwitchAndLostRouteKeepEachKindsTotals) {
    group.setUnsignedList(SettingsKey::NetActivitiesWiFiData, {3, 4});
    group.setUnsignedList(SettingsKey::NetActivitiesWWANData, {7, 9});
    monitor = make();
    net->set("eth0", 100, 100);
    net->set("wwan0", 500, 500);
    tick();
    step(110, 110);
    net->routeVia = "wwan0";
    const ActivityObject& switched = tick(); // a fresh first sample with the WWAN totals
    EXPECT_EQ(switched.netMode, 2);
    EXPECT_EQ(switched.paceActivities, (NetActivities{0, 0}));
    EXPECT_EQ(switched.netActivities, (NetActivities{7, 9}));
    EXPECT_EQ(switched.seesionMaxActivities, (NetActivities{0, 0}));
    net->set("wwan0", 503, 502);
    EXPECT_EQ(tick().netActivities, (NetActivities{9, 12}));
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWWANData), (List{9, 12}));
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWiFiData), (List{13, 14}));

    net->unreadable = true; // the routing table cannot be read
    const ActivityObject& lost = tick();
    EXPECT_EQ(lost.netMode, 0);
    EXPECT_EQ(lost.netActivities, (NetActivities{13, 14})) << "Wi-Fi totals even after WWAN";
    EXPECT_FALSE(lost.sentNumbers.has_value());
    EXPECT_FALSE(lost.ssid.has_value());
    EXPECT_EQ(monitor->upPaces().size(), 2u) << "histories untouched";
    EXPECT_EQ(monitor->netMode(), 2) << "a tick without a route keeps the mode";
}

TEST_F(SamplerTest, StoredTotalsLoadResetAndStayUnwrittenByExtensions) {
    group.setUnsignedList(SettingsKey::NetActivitiesWiFiData, {1, 2, 3});
    group.setValue(SettingsKey::NetActivitiesWWANData, nlohmann::json::array({1, "x"}));
    EXPECT_EQ(make()->dataWiFi(), (NetActivities{0, 0}));
    EXPECT_EQ(make()->dataWWAN(), (NetActivities{0, 0}));
    group.setUnsignedList(SettingsKey::NetActivitiesWiFiData, {11, 22});
    monitor = make();
    EXPECT_EQ(monitor->dataWiFi(), (NetActivities{11, 22}));
    monitor->resetData();
    EXPECT_EQ(monitor->dataWiFi(), (NetActivities{0, 0}));
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWWANData), (List{0, 0}));

    group.remove(SettingsKey::NetActivitiesWiFiData);
    monitor = make(true);
    step(10, 10);
    step(20, 20);
    EXPECT_EQ(monitor->dataWiFi(), (NetActivities{10, 10}));
    EXPECT_FALSE(group.contains(SettingsKey::NetActivitiesWiFiData));
}

TEST_F(SamplerTest, ConnectionDetails) {
    const auto details = [](const ActivityObject& r) {
        return QStringList{r.IPLocation.value_or("-"),   r.ssid.value_or("-"),
                           r.macLocation.value_or("-"),  r.security.value_or("-"),
                           r.channel.value_or("-"),      r.strength.value_or("-"),
                           r.transmitRate.value_or("-"), QString::number(r.strengthValue)};
    };
    net->set("wlan0", 1, 1);
    net->ipv4 = "127.0.0.1";
    // (The form without Wi-Fi is checked on the status page, tests/ui/statusview_test.cpp.)
    net->wifi = {QString("Home"), QString("a4:5e:60:0b:1c:ff"), 4, 149, -61, 866.7};
    EXPECT_EQ(details(tick()),
              QStringList({"127.0.0.1", "Home", "A4:5E:60:0B:1C:FF", "WPA2 Personal", "149",
                           "-61 dBm", "866.7 Mbps", "-61"}));
    const ActivityRecord snapshot = monitor->getActivity();
    EXPECT_EQ(snapshot->ssid, QString("Home"));
    EXPECT_FALSE(snapshot->sentNumbers.has_value());
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(3), "WPA Personal Mixed");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(10), "Enterprise");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(11), "Unknown");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(-1), "Unknown");
}

TEST_F(SamplerTest, SessionTimeCountsFromTheFirstStartOnly) {
    const std::pair<double, const char*> texts[] = {
        {0, "00:00"},        {59.9, "00:59"},        {3599, "59:59"},
        {86399, "23:59:59"}, {93784, "01.02:03:04"}, {12 * 86400.0, "12.00:00:00"}};
    for (const auto& [elapsed, text] : texts)
        EXPECT_EQ(NetworkMonitor::timeTextForElapsed(elapsed), text) << elapsed;

    monitor->startMonitoring();
    EXPECT_EQ(monitor->startedTime(), now);
    monitor->stopMonitoring();
    EXPECT_TRUE(monitor->dirtyActivity()) << "stopping marks the next tick dirty";
    now += 125;
    monitor->startMonitoring();
    EXPECT_EQ(monitor->timeText(), "02:05");
    monitor->stopMonitoring();
}

TEST_F(SamplerTest, RealTimerTicksOnTheMainThreadAndPausesForAPriorityChange) {
    monitor->startMonitoring();
    EXPECT_TRUE(waitUntil([&] { return recorder.records.size() >= 2; }, 5000));
    monitor->notifyPerformanceQueuePriorityDidChange();
    EXPECT_FALSE(monitor->isRunning());
    EXPECT_TRUE(waitUntil([&] { return monitor->isRunning(); }, 3000)) << "resumes after ~1 s";
    monitor->stopMonitoring();
    EXPECT_FALSE(recorder.offMainThread);
}

} // namespace
