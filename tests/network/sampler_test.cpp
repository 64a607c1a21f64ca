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

#include <memory>

namespace {

// A link table as the kernel dumps it, plus the default route's link. The route's flags come
// from the same rule the real table uses.
struct FakeNet : LinkSource, RouteSource {
    std::vector<LinkEntry> dump;
    std::string routeVia = "eth0"; // empty: no default route
    bool unreadable = false;
    QString ipv4;

    bool readCounters(std::vector<LinkEntry>& out) override {
        if (unreadable)
            return false;
        out = dump;
        return true;
    }
    QString lastIPv4Address() override { return ipv4; }
    std::optional<uint32_t> reachabilityFlags() override {
        if (unreadable)
            return std::nullopt;
        if (routeVia.empty())
            return 0u;
        for (const LinkEntry& e : dump)
            if (e.name == routeVia)
                return defaultRouteFlags(&e);
        return defaultRouteFlags(nullptr);
    }
    LinkEntry& link(const std::string& name, const std::string& kind = {}) {
        for (LinkEntry& e : dump)
            if (e.name == name)
                return e;
        LinkEntry e;
        e.index = int(dump.size()) + 1;
        e.name = name;
        e.kind = kind;
        e.carrier = true;
        e.hasStats = true;
        return dump.emplace_back(std::move(e));
    }
    void set(const std::string& name, uint64_t rx, uint64_t tx) {
        LinkEntry& e = link(name);
        e.rxBytes = rx;
        e.txBytes = tx;
    }
};

struct FakeWiFi : WiFiSource {
    WiFiDetails details;
    WiFiDetails current() override { return details; }
};

struct Recorder : ActivityObserver {
    std::vector<ActivityRecord> records;
    void networkActivityDidUpdate(const ActivityRecord& r) override { records.push_back(r); }
};

constexpr uint64_t KB = 1024;

class SamplerTest : public ::testing::Test {
protected:
    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    std::shared_ptr<FakeNet> net = std::make_shared<FakeNet>();
    std::shared_ptr<FakeWiFi> wifi = std::make_shared<FakeWiFi>();
    double now = 1000.0; // monotonic seconds
    Recorder recorder;
    std::unique_ptr<NetworkMonitor> monitor;

    void SetUp() override { makeMonitor(); }

    void makeMonitor() {
        monitor = std::make_unique<NetworkMonitor>(sources());
        monitor->addActivityObserver(&recorder);
    }

    NetworkMonitorSources sources() {
        NetworkMonitorSources s;
        s.links = net;
        s.route = net;
        s.wifi = wifi;
        s.now = [this] { return now; };
        s.group = &group;
        return s;
    }

    // One tick, a second after the previous one.
    const ActivityObject& tick(double seconds = 1.0) {
        now += seconds;
        const size_t before = recorder.records.size();
        monitor->updateNetworkInfo();
        EXPECT_EQ(recorder.records.size(), before + 1) << "delivered within the tick";
        return *recorder.records.back();
    }
};

TEST_F(SamplerTest, FirstSampleThenPacesAndTotals) {
    net->set("eth0", 100 * KB, 50 * KB);
    const ActivityObject& first = tick();
    EXPECT_EQ(first.paceActivities, (NetActivities{0, 0}));
    EXPECT_TRUE(first.sentNumbers->empty());
    EXPECT_EQ(first.netActivities, (NetActivities{0, 0}));
    EXPECT_FALSE(group.contains(SettingsKey::NetActivitiesWiFiData));

    net->set("eth0", 130 * KB, 60 * KB);
    const ActivityObject& second = tick();
    EXPECT_EQ(second.paceActivities, (NetActivities{10, 30}));
    EXPECT_EQ(second.netActivities, (NetActivities{10, 30}));
    EXPECT_EQ(second.seesionMaxActivities, (NetActivities{10, 30}));
    EXPECT_EQ(*second.sentNumbers, std::vector<uint64_t>{10});
    EXPECT_EQ(*second.downNumbers, std::vector<uint64_t>{30});
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWiFiData),
              (std::vector<uint64_t>{10, 30}));

    // A sent counter that reads 0 KB makes every tick a first sample.
    net->set("eth0", 200 * KB, 0);
    tick();
    net->set("eth0", 300 * KB, 0);
    EXPECT_EQ(tick().paceActivities, (NetActivities{0, 0}));
    EXPECT_EQ(monitor->downPaces().size(), 2u) << "the tick after the zero reading adds nothing";
}

// Ticks whose paces must not become session maxima: an upload counter that did not grow
// (a download stall is not dirty), and a tick that comes late.
TEST_F(SamplerTest, DirtyTicksCountIntoTotalsButRaiseNoMaximum) {
    net->set("eth0", 100 * KB, 50 * KB);
    tick();
    net->set("eth0", 110 * KB, 55 * KB);
    tick();                              // max becomes (5, 10)
    net->set("eth0", 510 * KB, 55 * KB); // big download, upload unchanged
    const ActivityObject& stalled = tick();
    EXPECT_EQ(stalled.paceActivities, (NetActivities{0, 400}));
    EXPECT_EQ(stalled.netActivities, (NetActivities{5, 410}));
    EXPECT_EQ(stalled.seesionMaxActivities, (NetActivities{5, 10}));
    EXPECT_FALSE(monitor->dirtyActivity()) << "the mark lasts one tick";

    net->set("eth0", 510 * KB, 75 * KB); // download stall: a zero pace, not dirty
    EXPECT_EQ(tick().seesionMaxActivities, (NetActivities{20, 10}));

    // Stopped for a minute (SIGSTOP, a stalled machine): the gap is one late tick.
    net->set("eth0", 60'510 * KB, 6'075 * KB);
    const ActivityObject& late = tick(60.0);
    EXPECT_EQ(late.paceActivities, (NetActivities{6000, 60'000}));
    EXPECT_EQ(late.netActivities, (NetActivities{6025, 60'410}));
    EXPECT_EQ(late.seesionMaxActivities, (NetActivities{20, 10}));
    net->set("eth0", 60'530 * KB, 6'076 * KB);
    EXPECT_EQ(tick(1.4).seesionMaxActivities, (NetActivities{20, 20})) << "1.4 s is on time";
}

TEST_F(SamplerTest, SixtyFourBitCountersNeverWrapAndBackwardsCountersAddNothing) {
    // A 10 Gbit/s link passes 2^32 bytes every 3.4 s; its 64-bit counters and the sums go on.
    constexpr uint64_t big = uint64_t{5} << 32;
    net->set("eth0", big - 4 * KB, 7 * KB);
    net->set("wlan0", 2 * KB, 1 * KB);
    tick();
    net->set("eth0", big + 1'250'000 * KB, 7 * KB + (uint64_t{1} << 33));
    const ActivityObject& fast = tick();
    EXPECT_EQ(fast.paceActivities, (NetActivities{8 * 1024 * 1024, 1'250'004}));
    EXPECT_EQ(fast.netActivities, fast.paceActivities);

    net->set("eth0", big, 8 * KB + (uint64_t{1} << 33)); // a driver reset its counter
    const ActivityObject& r = tick();
    EXPECT_EQ(r.paceActivities, (NetActivities{1, 0}));
    EXPECT_EQ(r.netActivities, (NetActivities{8 * 1024 * 1024 + 1, 1'250'004}));
}

// A recorded link table: each byte is counted once, on the kind of link the route uses.
TEST_F(SamplerTest, RecordedLinkTableCountsEachByteOnce) {
    struct Row {
        const char* name;
        const char* kind;
        bool modem;
        uint64_t rx, tx; // KB
    };
    const Row rows[] = {
        {"lo", "", false, 900, 900},
        {"enp3s0", "", false, 4 * 4096, 4 * 8192},
        {"enp3s0.10", "vlan", false, 4096, 8192}, // its bytes are in enp3s0 already
        {"enp3s0v", "macvlan", false, 4096, 4096},
        {"wlp2s0", "", false, 16 * 4096, 32 * 4096},
        {"wlp2s0.ip", "ipvlan", false, 4096, 4096},
        {"eth0", "veth", false, 2 * 4096, 4096}, // a container's uplink counts
        {"veth1a2b", "veth", false, 900, 900},
        {"docker0", "bridge", false, 900, 900},
        {"br-lan", "bridge", false, 900, 900},
        {"tun0", "tun", false, 900, 900},
        {"wg0", "wireguard", false, 900, 900},
        {"mbim0", "", true, 64 * 4096, 128 * 4096}, // a modem by its device type
        {"wwan0", "", false, 4096, 4096},
        {"wwan0.5", "vlan", true, 4096, 4096},
    };
    for (const Row& r : rows) {
        LinkEntry& e = net->link(r.name, r.kind);
        e.wwanDevice = r.modem;
        e.rxBytes = r.rx * KB;
        e.txBytes = r.tx * KB;
    }
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(1),
              (NetActivities{(32 + 8 + 1) * 4096, (16 + 4 + 2) * 4096}));
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(2),
              (NetActivities{(128 + 1) * 4096, (64 + 1) * 4096}));
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(0), (NetActivities{0, 0}));

    // The default route through the modem named "mbim0" reads as WWAN, and its totals grow.
    net->routeVia = "mbim0";
    tick();
    net->link("mbim0").rxBytes += 300 * KB;
    net->link("mbim0").txBytes += 30 * KB;
    const ActivityObject& wwan = tick();
    EXPECT_EQ(wwan.netMode, 2);
    EXPECT_EQ(wwan.netActivities, (NetActivities{30, 300}));

    // A route through a link without carrier (cable pulled) is no route.
    net->routeVia = "enp3s0";
    net->link("enp3s0").carrier = false;
    EXPECT_EQ(tick().netMode, 0);
    net->link("enp3s0").carrier = true;
    EXPECT_EQ(tick().netMode, 1);
    net->routeVia = "tun0"; // any other route reads as the local-link kind
    EXPECT_EQ(tick().netMode, 1);
    net->unreadable = true;
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(1), (NetActivities{0, 0}));
}

TEST_F(SamplerTest, ModeSwitchStartsAFreshSampleWithTheNewTotals) {
    group.setUnsignedList(SettingsKey::NetActivitiesWWANData, {7, 9});
    makeMonitor();
    net->set("eth0", 100 * KB, 100 * KB);
    net->set("wwan0", 500 * KB, 500 * KB);
    tick();
    net->set("eth0", 110 * KB, 110 * KB);
    tick();
    EXPECT_EQ(monitor->seesionMaxActivities(), (NetActivities{10, 10}));

    net->routeVia = "wwan0"; // default route moves to a WWAN link
    const ActivityObject& switched = tick();
    EXPECT_EQ(switched.netMode, 2);
    EXPECT_EQ(switched.paceActivities, (NetActivities{0, 0}));
    EXPECT_EQ(switched.netActivities, (NetActivities{7, 9}));
    EXPECT_EQ(switched.seesionMaxActivities, (NetActivities{0, 0}));

    net->set("wwan0", 503 * KB, 502 * KB);
    EXPECT_EQ(tick().netActivities, (NetActivities{9, 12}));
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWWANData),
              (std::vector<uint64_t>{9, 12}));
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWiFiData),
              (std::vector<uint64_t>{10, 10}));
}

TEST_F(SamplerTest, NoRouteRecordCarriesWiFiTotalsAndLeavesHistoriesAlone) {
    group.setUnsignedList(SettingsKey::NetActivitiesWiFiData, {3, 4});
    group.setUnsignedList(SettingsKey::NetActivitiesWWANData, {30, 40});
    makeMonitor();
    net->routeVia = "wwan0";
    net->set("wwan0", 100 * KB, 100 * KB);
    tick();
    net->set("wwan0", 101 * KB, 101 * KB);
    tick();
    net->unreadable = true; // the routing table cannot be read
    const ActivityObject& r = tick();
    EXPECT_EQ(r.netMode, 0);
    EXPECT_EQ(r.netActivities, (NetActivities{3, 4})) << "Wi-Fi totals even after WWAN";
    EXPECT_FALSE(r.sentNumbers.has_value());
    EXPECT_FALSE(r.ssid.has_value());
    EXPECT_FALSE(r.security.has_value());
    EXPECT_EQ(monitor->upPaces().size(), 1u);
    EXPECT_EQ(monitor->netMode(), 2) << "a tick without a route keeps the mode";
    net->unreadable = false;
    net->routeVia.clear();
    EXPECT_EQ(tick().netMode, 0);
}

TEST_F(SamplerTest, HistoriesKeepTheNewestSixty) {
    uint32_t rx = KB, tx = KB;
    net->set("eth0", rx, tx);
    tick();
    for (uint32_t i = 1; i <= 61; ++i) {
        rx += i * KB;
        tx += 2 * i * KB;
        net->set("eth0", rx, tx);
        tick();
    }
    const ActivityObject& r = *recorder.records.back();
    ASSERT_EQ(r.downNumbers->size(), 60u);
    ASSERT_EQ(r.sentNumbers->size(), 60u);
    EXPECT_EQ(r.downNumbers->front(), 61u);
    EXPECT_EQ(r.downNumbers->back(), 2u);
    EXPECT_EQ(r.sentNumbers->front(), 122u);
    // Records are copies: the first real record still holds its single entry.
    EXPECT_EQ(recorder.records[1]->downNumbers->size(), 1u);
}

TEST_F(SamplerTest, StoredTotalsLoadResetAndStayUnwrittenByExtensions) {
    group.setUnsignedList(SettingsKey::NetActivitiesWiFiData, {1, 2, 3});
    group.setValue(SettingsKey::NetActivitiesWWANData, nlohmann::json::array({1, "x"}));
    makeMonitor();
    EXPECT_EQ(monitor->dataWiFi(), (NetActivities{0, 0}));
    EXPECT_EQ(monitor->dataWWAN(), (NetActivities{0, 0}));
    group.setUnsignedList(SettingsKey::NetActivitiesWiFiData, {11, 22});
    makeMonitor();
    EXPECT_EQ(monitor->dataWiFi(), (NetActivities{11, 22}));
    monitor->resetData();
    EXPECT_EQ(monitor->dataWiFi(), (NetActivities{0, 0}));
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWWANData),
              (std::vector<uint64_t>{0, 0}));

    group.remove(SettingsKey::NetActivitiesWiFiData);
    NetworkMonitorSources s = sources();
    s.isExtension = true;
    NetworkMonitor ext(s);
    net->set("eth0", 10 * KB, 10 * KB);
    ext.updateNetworkInfo();
    net->set("eth0", 20 * KB, 20 * KB);
    ext.updateNetworkInfo();
    EXPECT_EQ(ext.dataWiFi(), (NetActivities{10, 10}));
    EXPECT_FALSE(group.contains(SettingsKey::NetActivitiesWiFiData));
}

TEST_F(SamplerTest, ConnectionDetailsAndTheirEmptyForm) {
    net->set("wlan0", KB, KB);
    net->ipv4 = "127.0.0.1";
    const ActivityObject& empty = tick();
    EXPECT_EQ(empty.IPLocation, QString("127.0.0.1"));
    EXPECT_FALSE(empty.ssid.has_value());
    EXPECT_FALSE(empty.macLocation.has_value());
    EXPECT_EQ(empty.security, QString("None"));
    EXPECT_EQ(empty.channel, QString("0"));
    EXPECT_EQ(empty.strength, QString("0 dBm"));
    EXPECT_EQ(empty.transmitRate, QString("0.0 Mbps"));

    wifi->details.ssid = "Home";
    wifi->details.hardwareAddress = "a4:5e:60:0b:1c:ff";
    wifi->details.securityMode = 4;
    wifi->details.channel = 149;
    wifi->details.rssi = -61;
    wifi->details.transmitRate = 866.7;
    const ActivityObject& r = tick();
    EXPECT_EQ(r.ssid, QString("Home"));
    EXPECT_EQ(r.macLocation, QString("A4:5E:60:0B:1C:FF"));
    EXPECT_EQ(r.security, QString("WPA2 Personal"));
    EXPECT_EQ(r.channel, QString("149"));
    EXPECT_EQ(r.strengthValue, -61);
    EXPECT_EQ(r.strength, QString("-61 dBm"));
    EXPECT_EQ(r.transmitRate, QString("866.7 Mbps"));

    ActivityRecord snapshot = monitor->getActivity();
    EXPECT_EQ(snapshot->ssid, QString("Home"));
    EXPECT_FALSE(snapshot->sentNumbers.has_value());
    EXPECT_EQ(snapshot->paceActivities, (NetActivities{0, 0}));
}

TEST_F(SamplerTest, SecurityNamesStopAtTen) {
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(0), "None");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(10), "Enterprise");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(11), "Unknown");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(-1), "Unknown");
}

TEST_F(SamplerTest, SessionTimeText) {
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(0), "00:00");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(59.9), "00:59");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(3599), "59:59");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(86399), "23:59:59");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(93784), "01.02:03:04");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(12 * 86400.0), "12.00:00:00");
}

TEST_F(SamplerTest, SessionTimeCountsFromTheFirstStartOnly) {
    net->set("eth0", KB, KB);
    monitor->startMonitoring();
    const double started = monitor->startedTime();
    EXPECT_EQ(started, now);
    monitor->stopMonitoring();
    EXPECT_FALSE(monitor->isRunning());
    EXPECT_TRUE(monitor->dirtyActivity()) << "stopping marks the next tick dirty";
    now += 125;
    monitor->startMonitoring();
    EXPECT_EQ(monitor->startedTime(), started);
    EXPECT_EQ(monitor->timeText(), "02:05");
    monitor->stopMonitoring();
}

TEST_F(SamplerTest, ObserverListKeepsOrderWithoutDuplicates) {
    Recorder a, b, c;
    NetworkMonitor m(sources());
    m.addActivityObserver(&a);
    m.addActivityObserver(&b);
    m.addActivityObserver(&a);
    m.insertActivityObserver(&c);
    m.insertActivityObserver(&b);
    ASSERT_EQ(m.activityObservers().size(), 3u);
    EXPECT_EQ(m.activityObservers()[0], &c);
    EXPECT_EQ(m.activityObservers()[1], &a);
    EXPECT_EQ(m.activityObservers()[2], &b);
    m.removeActivityObserver(&a);
    m.removeActivityObserver(&a);
    EXPECT_EQ(m.activityObservers().size(), 2u);
}

TEST_F(SamplerTest, RealTimerTicksOnTheMainThreadAndPausesForAPriorityChange) {
    struct ThreadCheck : ActivityObserver {
        int count = 0;
        bool mainThread = true;
        void networkActivityDidUpdate(const ActivityRecord&) override {
            ++count;
            mainThread = mainThread && QThread::currentThread() == qApp->thread();
        }
    } check;
    monitor->addActivityObserver(&check);
    monitor->startMonitoring();
    EXPECT_TRUE(waitUntil([&] { return check.count >= 2; }, 5000));
    monitor->notifyPerformanceQueuePriorityDidChange();
    EXPECT_FALSE(monitor->isRunning());
    EXPECT_TRUE(waitUntil([&] { return monitor->isRunning(); }, 3000)) << "resumes after ~1 s";
    monitor->stopMonitoring();
    monitor->removeActivityObserver(&check);
    EXPECT_TRUE(check.mainThread);
}

} // namespace
