// The one-second sampler driven tick by tick through fake counters, routes and clock.
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

struct FakeAddresses : InterfaceAddressSource {
    std::vector<InterfaceAddressEntry> entries;
    bool fail = false;
    bool read(std::vector<InterfaceAddressEntry>& out) override {
        if (fail)
            return false;
        out = entries;
        return true;
    }
    void setLink(const std::string& name, uint32_t rx, uint32_t tx) {
        for (auto& e : entries)
            if (e.name == name && e.family == InterfaceAddressEntry::Family::Link) {
                e.rxBytes = rx;
                e.txBytes = tx;
                return;
            }
        InterfaceAddressEntry e;
        e.name = name;
        e.family = InterfaceAddressEntry::Family::Link;
        e.hasStats = true;
        e.rxBytes = rx;
        e.txBytes = tx;
        entries.push_back(e);
    }
    void addIPv4(const std::string& name, const QString& ip) {
        InterfaceAddressEntry e;
        e.name = name;
        e.family = InterfaceAddressEntry::Family::IPv4;
        e.ipv4 = ip;
        entries.push_back(e);
    }
};

struct FakeRoute : RouteSource {
    std::optional<uint32_t> flags = 0x2u;
    std::optional<uint32_t> reachabilityFlags() override { return flags; }
};

struct FakeWiFi : WiFiSource {
    WiFiDetails details;
    WiFiDetails current() override { return details; }
};

struct Recorder : ActivityObserver {
    std::vector<ActivityRecord> records;
    void networkActivityDidUpdate(const ActivityRecord& r) override { records.push_back(r); }
};

constexpr uint32_t KB = 1024;

class SamplerTest : public ::testing::Test {
protected:
    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    std::shared_ptr<FakeAddresses> addresses = std::make_shared<FakeAddresses>();
    std::shared_ptr<FakeRoute> route = std::make_shared<FakeRoute>();
    std::shared_ptr<FakeWiFi> wifi = std::make_shared<FakeWiFi>();
    double now = 1'700'000'000.0;
    Recorder recorder;
    std::unique_ptr<NetworkMonitor> monitor;

    void SetUp() override { makeMonitor(); }

    void makeMonitor() {
        NetworkMonitorSources s;
        s.addresses = addresses;
        s.route = route;
        s.wifi = wifi;
        s.now = [this] { return now; };
        s.group = &group;
        monitor = std::make_unique<NetworkMonitor>(s);
        monitor->addActivityObserver(&recorder);
    }

    // One tick, delivered to the observers like the real timer does.
    const ActivityObject& tick() {
        const size_t before = recorder.records.size();
        monitor->updateNetworkInfo();
        QCoreApplication::processEvents();
        EXPECT_EQ(recorder.records.size(), before + 1);
        return *recorder.records.back();
    }
};

TEST_F(SamplerTest, FirstSampleThenPacesAndTotals) {
    addresses->setLink("eth0", 100 * KB, 50 * KB);
    const ActivityObject& first = tick();
    EXPECT_EQ(first.paceActivities, (NetActivities{0, 0}));
    EXPECT_TRUE(first.sentNumbers->empty());
    EXPECT_EQ(first.netActivities, (NetActivities{0, 0}));
    EXPECT_FALSE(group.contains(SettingsKey::NetActivitiesWiFiData));

    addresses->setLink("eth0", 130 * KB, 60 * KB);
    const ActivityObject& second = tick();
    EXPECT_EQ(second.paceActivities, (NetActivities{10, 30}));
    EXPECT_EQ(second.netActivities, (NetActivities{10, 30}));
    EXPECT_EQ(second.seesionMaxActivities, (NetActivities{10, 30}));
    EXPECT_EQ(*second.sentNumbers, std::vector<uint64_t>{10});
    EXPECT_EQ(*second.downNumbers, std::vector<uint64_t>{30});
    EXPECT_EQ(group.unsignedList(SettingsKey::NetActivitiesWiFiData),
              (std::vector<uint64_t>{10, 30}));
}

TEST_F(SamplerTest, UploadStallMarksTickDirtyButCountsDownload) {
    addresses->setLink("eth0", 100 * KB, 50 * KB);
    tick();
    addresses->setLink("eth0", 110 * KB, 55 * KB);
    tick();                                        // max becomes (5, 10)
    addresses->setLink("eth0", 510 * KB, 55 * KB); // big download, upload unchanged
    const ActivityObject& r = tick();
    EXPECT_EQ(r.paceActivities, (NetActivities{0, 400}));
    EXPECT_EQ(r.netActivities, (NetActivities{5, 410}));
    EXPECT_EQ(r.seesionMaxActivities, (NetActivities{5, 10})) << "a dirty tick raises no maximum";
    EXPECT_FALSE(monitor->dirtyActivity()) << "the mark lasts one tick";

    addresses->setLink("eth0", 910 * KB, 56 * KB);
    EXPECT_EQ(tick().seesionMaxActivities, (NetActivities{5, 400}));
}

TEST_F(SamplerTest, DownloadStallIsNotDirty) {
    addresses->setLink("eth0", 100 * KB, 50 * KB);
    tick();
    addresses->setLink("eth0", 100 * KB, 70 * KB);
    const ActivityObject& r = tick();
    EXPECT_EQ(r.paceActivities, (NetActivities{20, 0}));
    EXPECT_EQ(r.seesionMaxActivities, (NetActivities{20, 0}));
}

TEST_F(SamplerTest, ZeroSentCounterKeepsEveryTickAFirstSample) {
    addresses->setLink("eth0", 100 * KB, 0);
    tick();
    addresses->setLink("eth0", 200 * KB, 0);
    EXPECT_EQ(tick().paceActivities, (NetActivities{0, 0}));
    addresses->setLink("eth0", 300 * KB, 0);
    const ActivityObject& r = tick();
    EXPECT_EQ(r.paceActivities, (NetActivities{0, 0}));
    EXPECT_TRUE(r.downNumbers->empty());
}

TEST_F(SamplerTest, ThirtyTwoBitSumsWrapAndBackwardsCountersAddNothing) {
    // Two links whose sum crosses 2^32: the sum wraps like the kernel's 32-bit counters.
    addresses->setLink("eth0", 0xFFFFF000u, 0x1000u);
    addresses->setLink("wlan0", 0x2000u, 0x1000u);
    const NetActivities c = monitor->currentNetworkPaceWithReachabilityStatus(1);
    EXPECT_EQ(c.down, uint64_t{(0xFFFFF000u + 0x2000u) & 0xFFFFFFFFu} >> 10);
    EXPECT_EQ(c.up, uint64_t{0x2000u} >> 10);

    tick();
    addresses->setLink("eth0", 0xFFFFE000u, 0x1400u); // received sum wraps to 0: backwards
    const ActivityObject& r = tick();
    EXPECT_EQ(r.paceActivities.down, 0u);
    EXPECT_EQ(r.paceActivities.up, 1u);
    EXPECT_EQ(r.netActivities, (NetActivities{1, 0}));
}

TEST_F(SamplerTest, OnlyLocalAndWWANLinkNamesAreCounted) {
    addresses->setLink("eth0", 1 * KB, 2 * KB);
    addresses->setLink("enp3s0", 4 * KB, 8 * KB);
    addresses->setLink("wlp2s0", 16 * KB, 32 * KB);
    for (const char* ignored : {"lo", "docker0", "veth1a2b", "tun0", "br-lan", "virbr0", "wg0"})
        addresses->setLink(ignored, 1000 * KB, 1000 * KB);
    addresses->setLink("wwan0", 64 * KB, 128 * KB);
    addresses->setLink("pdp_ip0", 256 * KB, 512 * KB);
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(1), (NetActivities{42, 21}));
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(2), (NetActivities{640, 320}));
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(0), (NetActivities{0, 0}));
    addresses->fail = true;
    EXPECT_EQ(monitor->currentNetworkPaceWithReachabilityStatus(1), (NetActivities{0, 0}));
}

TEST_F(SamplerTest, LastIPv4AddressWinsLoopbackIncluded) {
    addresses->addIPv4("eth0", "192.0.2.7");
    addresses->addIPv4("lo", "127.0.0.1");
    addresses->setLink("eth0", KB, KB);
    EXPECT_EQ(tick().IPLocation, QString("127.0.0.1"));
}

TEST_F(SamplerTest, ModeSwitchStartsAFreshSampleWithTheNewTotals) {
    group.setUnsignedList(SettingsKey::NetActivitiesWWANData, {7, 9});
    makeMonitor();
    addresses->setLink("eth0", 100 * KB, 100 * KB);
    addresses->setLink("wwan0", 500 * KB, 500 * KB);
    tick();
    addresses->setLink("eth0", 110 * KB, 110 * KB);
    tick();
    EXPECT_EQ(monitor->seesionMaxActivities(), (NetActivities{10, 10}));

    route->flags = 0x2u | 0x20000u; // default route moves to a WWAN link
    const ActivityObject& switched = tick();
    EXPECT_EQ(switched.netMode, 2);
    EXPECT_EQ(switched.paceActivities, (NetActivities{0, 0}));
    EXPECT_EQ(switched.netActivities, (NetActivities{7, 9}));
    EXPECT_EQ(switched.seesionMaxActivities, (NetActivities{0, 0}));

    addresses->setLink("wwan0", 503 * KB, 502 * KB);
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
    route->flags = 0x2u | 0x20000u;
    addresses->setLink("wwan0", 100 * KB, 100 * KB);
    tick();
    addresses->setLink("wwan0", 101 * KB, 101 * KB);
    tick();
    route->flags = std::nullopt; // the routing table cannot be read
    const ActivityObject& r = tick();
    EXPECT_EQ(r.netMode, 0);
    EXPECT_EQ(r.netActivities, (NetActivities{3, 4})) << "Wi-Fi totals even after WWAN";
    EXPECT_FALSE(r.sentNumbers.has_value());
    EXPECT_FALSE(r.ssid.has_value());
    EXPECT_FALSE(r.security.has_value());
    EXPECT_EQ(monitor->upPaces().size(), 1u);
    EXPECT_EQ(monitor->netMode(), 2) << "a tick without a route keeps the mode";
    route->flags = 0x0u;
    EXPECT_EQ(tick().netMode, 0);
}

TEST_F(SamplerTest, HistoriesKeepTheNewestSixty) {
    uint32_t rx = KB, tx = KB;
    addresses->setLink("eth0", rx, tx);
    tick();
    for (uint32_t i = 1; i <= 61; ++i) {
        rx += i * KB;
        tx += 2 * i * KB;
        addresses->setLink("eth0", rx, tx);
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

TEST_F(SamplerTest, StoredTotalsOfTheWrongShapeAreIgnored) {
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
}

TEST_F(SamplerTest, ExtensionProcessesNeverWriteTotals) {
    NetworkMonitorSources s;
    s.addresses = addresses;
    s.route = route;
    s.now = [this] { return now; };
    s.group = &group;
    s.isExtension = true;
    NetworkMonitor ext(s);
    addresses->setLink("eth0", 10 * KB, 10 * KB);
    ext.updateNetworkInfo();
    addresses->setLink("eth0", 20 * KB, 20 * KB);
    ext.updateNetworkInfo();
    EXPECT_EQ(ext.dataWiFi(), (NetActivities{10, 10}));
    EXPECT_FALSE(group.contains(SettingsKey::NetActivitiesWiFiData));
}

TEST_F(SamplerTest, ConnectionDetailsAndTheirEmptyForm) {
    addresses->setLink("wlan0", KB, KB);
    const ActivityObject& empty = tick();
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
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(3), "WPA Personal Mixed");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(10), "Enterprise");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(11), "Unknown");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(12), "Unknown");
    EXPECT_EQ(NetworkMonitor::getSecurityStringForNetwork(-1), "Unknown");
}

TEST_F(SamplerTest, SessionTimeText) {
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(0), "00:00");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(59.9), "00:59");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(61), "01:01");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(3599), "59:59");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(3661), "01:01:01");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(86399), "23:59:59");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(90061), "01.01:01:01");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(93784), "01.02:03:04");
    EXPECT_EQ(NetworkMonitor::timeTextForElapsed(12 * 86400.0), "12.00:00:00");
}

TEST_F(SamplerTest, SessionTimeCountsFromTheFirstStartOnly) {
    addresses->setLink("eth0", KB, KB);
    monitor->startMonitoring();
    const double started = monitor->startedTime();
    EXPECT_EQ(started, now);
    monitor->stopMonitoring();
    EXPECT_TRUE(waitUntil([&] { return !monitor->isRunning(); }));
    EXPECT_TRUE(monitor->dirtyActivity()) << "stopping marks the next tick dirty";
    now += 125;
    monitor->startMonitoring();
    EXPECT_EQ(monitor->startedTime(), started);
    EXPECT_EQ(monitor->timeText(), "02:05");
    monitor->stopMonitoring();
}

TEST_F(SamplerTest, ObserverListKeepsOrderWithoutDuplicates) {
    Recorder a, b, c;
    NetworkMonitorSources s;
    s.addresses = addresses;
    s.route = route;
    s.now = [this] { return now; };
    NetworkMonitor m(s);
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

TEST_F(SamplerTest, RealTimerDeliversOnTheMainThread) {
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
    waitUntil([&] { return check.count >= 2; }, 5000);
    monitor->stopMonitoring();
    waitUntil([&] { return !monitor->isRunning(); });
    monitor->removeActivityObserver(&check);
    EXPECT_GE(check.count, 2);
    EXPECT_TRUE(check.mainThread);
}

} // namespace
