// The typed JSON domains and the Settings front: types, absent values, clamping, corrupt
// files, durability and change notifications.
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TEST(SettingsDomain, EveryTypeSurvivesARoundTripThroughTheFile) {
    TempDir dir;
    const QString path = dir.file("nested/settings.json");
    {
        SettingsDomain d(path);
        d.setBool("b", true);
        d.setInteger("i", -42);
        d.setInteger("big", INT64_MAX);
        d.setDouble("f", 0.8);
        d.setString("s", QString::fromUtf8("Grüße 日本"));
        d.setStringList("l", {"20", "10"});
        d.setUnsignedList("u", {0, UINT64_MAX});
        ASSERT_TRUE(d.flush());
    }
    QFileInfo info(path);
    ASSERT_TRUE(info.exists());
    EXPECT_EQ(info.permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteOther), 0);
    SettingsDomain d(path);
    EXPECT_TRUE(d.boolValue("b"));
    EXPECT_EQ(d.integerValue("i"), -42);
    EXPECT_EQ(d.integerValue("big"), INT64_MAX);
    EXPECT_DOUBLE_EQ(d.doubleValue("f"), 0.8);
    EXPECT_EQ(d.stringValue("s"), QString::fromUtf8("Grüße 日本"));
    EXPECT_EQ(d.stringList("l"), (QStringList{"20", "10"}));
    EXPECT_EQ(d.unsignedList("u"), (std::vector<uint64_t>{0, UINT64_MAX}));
    EXPECT_TRUE(d.value("f")->is_number_float()) << "floating values stay floating";
}

TEST(SettingsDomain, AbsentAndWrongTypedValuesReadAsZero) {
    TempDir dir;
    SettingsDomain d(dir.file("s.json"));
    EXPECT_FALSE(d.boolValue("missing"));
    EXPECT_EQ(d.integerValue("missing"), 0);
    EXPECT_EQ(d.doubleValue("missing"), 0.0);
    EXPECT_TRUE(d.stringValue("missing").isNull());
    EXPECT_TRUE(d.stringList("missing").isEmpty());
    EXPECT_FALSE(d.unsignedList("missing").has_value());

    d.setString("text", "yes");
    EXPECT_FALSE(d.boolValue("text"));
    EXPECT_EQ(d.integerValue("text"), 0);
    EXPECT_EQ(d.doubleValue("text"), 0.0);
    EXPECT_TRUE(d.stringList("text").isEmpty());
    d.setInteger("n", 3);
    EXPECT_TRUE(d.stringValue("n").isEmpty());
    d.setValue("mixed", nlohmann::json::array({"a", 1}));
    EXPECT_TRUE(d.stringList("mixed").isEmpty()) << "a list with a foreign element is ignored";
    d.setValue("neg", nlohmann::json::array({1, -1}));
    EXPECT_FALSE(d.unsignedList("neg").has_value());
    d.setValue("obj", nlohmann::json::object({{"k", 1}}));
    EXPECT_FALSE(d.array("obj").has_value());
    d.setDouble("frac", 2.9);
    EXPECT_EQ(d.integerValue("frac"), 2);
}

// Whatever lies where the file should be, the domain starts empty, says so once, keeps the
// damaged thing aside and saves a good file in its place.
TEST(SettingsDomain, HostileFilesAreMovedAsideAndTheDomainStartsEmpty) {
    const QByteArray deep = QByteArray(100'000, '[') + QByteArray(100'000, ']');
    struct Case {
        const char* what;
        std::function<void(const QString& path)> make;
    };
    const auto bytes = [](QByteArray b) {
        return [b](const QString& path) {
            QFile f(path);
            ASSERT_TRUE(f.open(QIODevice::WriteOnly));
            f.write(b);
        };
    };
    const std::vector<Case> cases = {
        {"truncated", bytes("{\"WantsBlurBackground\": tr")},
        {"binary", bytes("\x89PNG garbage \x01\x02")},
        {"wrong shape", bytes("[1, 2, 3]")},
        {"empty", bytes("")},
        {"nested 100000 deep", bytes("{\"a\":" + deep + "}")},
        {"fifo", [](const QString& p) { ASSERT_EQ(::mkfifo(qPrintable(p), 0600), 0); }},
        {"device", [](const QString& p) { ASSERT_EQ(::symlink("/dev/zero", qPrintable(p)), 0); }},
        {"too large",
         [](const QString& p) {
             QFile f(p);
             ASSERT_TRUE(f.open(QIODevice::WriteOnly));
             f.write("{}");
             ASSERT_TRUE(f.resize(SettingsDomain::kMaxFileBytes + 1));
         }},
    };
    for (const Case& c : cases) {
        TempDir dir;
        const QString path = dir.file("settings.json");
        c.make(path);
        testing::internal::CaptureStderr();
        SettingsDomain d(path);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(d.keys().empty()) << c.what;
        const QString aside = d.movedAsidePath();
        EXPECT_FALSE(aside.isEmpty()) << c.what;
        EXPECT_TRUE(QFileInfo(aside).exists() || QFileInfo(aside).isSymLink()) << c.what;
        EXPECT_NE(said.find("moved it aside to " + aside.toStdString()), std::string::npos)
            << c.what << ": " << said;
        d.setBool("WantsBlurBackground", true);
        ASSERT_TRUE(d.flush()) << c.what;
        SettingsDomain again(path);
        EXPECT_TRUE(again.boolValue("WantsBlurBackground")) << c.what;
        EXPECT_TRUE(again.movedAsidePath().isEmpty()) << c.what;
    }
}

TEST(SettingsDomain, WritingThroughASymbolicLinkKeepsTheLink) {
    TempDir dir;
    const QString target = dir.write("dotfiles/lumenstat.json", "{\"kept\": 1}");
    const QString path = dir.file("config/settings.json");
    QDir().mkpath(dir.file("config"));
    ASSERT_TRUE(QFile::link(target, path));
    SettingsDomain d(path);
    EXPECT_EQ(d.integerValue("kept"), 1);
    d.setInteger("added", 2);
    ASSERT_TRUE(d.flush());
    EXPECT_TRUE(QFileInfo(path).isSymLink());
    SettingsDomain reader(target);
    EXPECT_EQ(reader.integerValue("kept"), 1);
    EXPECT_EQ(reader.integerValue("added"), 2);
}

// Writers in separate processes each keep the others' keys; a key changed here wins over
// the value on disk, and a key removed here stays removed.
TEST(SettingsDomain, WritersInOtherProcessesKeepEachOthersKeys) {
    TempDir dir;
    const QString path = dir.write("s.json", "{\"shared\": 0, \"gone\": 1}");
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            SettingsDomain d(path);
            d.setInteger("k" + std::to_string(i), i);
            d.setInteger("shared", i);
            _exit(d.flush() ? 0 : 1);
        }
        children.push_back(child);
    }
    SettingsDomain mine(path);
    mine.remove("gone");
    for (pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    ASSERT_TRUE(mine.flush());
    SettingsDomain reader(path);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(reader.integerValue("k" + std::to_string(i)), i);
    EXPECT_FALSE(reader.contains("gone"));
    EXPECT_TRUE(reader.contains("shared"));
    EXPECT_FALSE(QFile::exists(path + ".tmp"));
}

// A folder the process cannot write to: one message with the reason, the values stay in
// memory, no partial file, and saving works again once the folder does.
TEST(SettingsDomain, AFailingSaveIsSaidOnceAndLeavesNoPartialFile) {
    TempDir dir;
    const QString folder = dir.file("config");
    QDir().mkpath(folder);
    const bool root = ::geteuid() == 0;
    // Permissions do not stop root: a file in place of the folder does.
    const QString path =
        root ? dir.write("config/blocked", "x") + "/settings.json" : folder + "/settings.json";
    if (!root) {
        ASSERT_EQ(::chmod(qPrintable(folder), 0500), 0);
    }
    SettingsDomain d(path);
    testing::internal::CaptureStderr();
    d.setInteger("a", 1);
    EXPECT_FALSE(d.flush());
    d.setInteger("b", 2);
    EXPECT_FALSE(d.flush());
    const std::string said = testing::internal::GetCapturedStderr();
    const std::string reason = root ? std::strerror(ENOTDIR) : std::strerror(EACCES);
    EXPECT_EQ(said, "lumenstat: could not save " + path.toStdString() + ": " + reason +
                        "; the changes are kept in memory\n");
    EXPECT_EQ(d.integerValue("b"), 2);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden).size(), root ? 1 : 0);
    if (root) {
        ASSERT_TRUE(QFile::remove(folder + "/blocked") && QDir().mkpath(folder + "/blocked"));
    } else {
        ASSERT_EQ(::chmod(qPrintable(folder), 0700), 0);
    }
    EXPECT_TRUE(d.flush());
    EXPECT_TRUE(d.lastWriteError().isEmpty());
    EXPECT_EQ(SettingsDomain(path).integerValue("a"), 1);
}

TEST(SettingsDomain, WritesReachTheDiskWithoutAnExplicitFlush) {
    TempDir dir;
    const QString path = dir.file("s.json");
    SettingsDomain d(path);
    d.setWriteDelay(50);
    d.setInteger("x", 5);
    for (int i = 0; i < 100 && !QFile::exists(path); ++i)
        usleep(20'000);
    SettingsDomain reader(path);
    EXPECT_EQ(reader.integerValue("x"), 5);
}

TEST(SettingsDomain, ConcurrentWritersLoseNothing) {
    TempDir dir;
    SettingsDomain d(dir.file("s.json"));
    d.setWriteDelay(0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&d, t] {
            for (int i = 0; i < 500; ++i)
                d.setUnsignedList("k" + std::to_string(t), {static_cast<uint64_t>(i), 1});
        });
    for (auto& th : threads)
        th.join();
    ASSERT_TRUE(d.flush());
    SettingsDomain reader(dir.file("s.json"));
    for (int t = 0; t < 4; ++t)
        EXPECT_EQ(reader.unsignedList("k" + std::to_string(t)), (std::vector<uint64_t>{499, 1}));
}

// A writer killed with SIGKILL at arbitrary moments never leaves a file that fails to load.
TEST(SettingsDomain, KillDuringHeavyWritingLeavesAReadableFile) {
    TempDir dir;
    const QString path = dir.file("group.json");
    for (int round = 0; round < 6; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            SettingsDomain d(path);
            d.setWriteDelay(0);
            std::string filler(4096, 'x');
            for (uint64_t i = 0;; ++i) {
                d.setUnsignedList("counter", {i, i * 2});
                d.setString("filler" + std::to_string(i % 64), QString::fromStdString(filler));
                d.flush();
            }
        }
        usleep(static_cast<useconds_t>(30'000 + round * 17'000));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        SettingsDomain d(path);
        EXPECT_TRUE(d.movedAsidePath().isEmpty()) << "round " << round;
        const auto counter = d.unsignedList("counter");
        if (QFile::exists(path)) {
            ASSERT_TRUE(counter.has_value()) << "round " << round;
            EXPECT_EQ((*counter)[1], (*counter)[0] * 2);
        }
        struct stat st {};
        if (::stat(QFile::encodeName(path).constData(), &st) == 0) {
            EXPECT_EQ(st.st_mode & 0777, 0600u);
        }
    }
}

class SettingsFront : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().clear();
        SettingsDomain::group().clear();
    }
};

TEST_F(SettingsFront, FreshInstallReadsEverySwitchAsOff) {
    Settings& s = Settings::shared();
    EXPECT_FALSE(s.autoLogin());
    EXPECT_FALSE(s.wantsBlurBackground());
    EXPECT_FALSE(s.showsFloatWindow());
    EXPECT_FALSE(s.showsMenuBarCPUUsage());
    EXPECT_FALSE(s.wantsAppDataUsageTracking());
    EXPECT_TRUE(s.batteryRemainingNotificationLevels().isEmpty());
    EXPECT_EQ(s.floatWindowMode(), 0);
    EXPECT_EQ(performanceQueuePriority(), 0);
    EXPECT_EQ(preferredTrafficType(), 0);
}

TEST_F(SettingsFront, ClampingAndOutOfRangeReads) {
    Settings& s = Settings::shared();
    SettingsDomain& std_ = SettingsDomain::standard();
    std_.setInteger(SettingsKey::MenuBoxPreferredWidth, 7);
    EXPECT_EQ(menuBoxPreferredWidth(), Settings::MenuBoxPreferredWidth::Auto);
    std_.setInteger(SettingsKey::MenuBoxPreferredWidth, 2);
    EXPECT_EQ(menuBoxPreferredWidth(), Settings::MenuBoxPreferredWidth::Wide);
    setMenuBoxPreferredWidth(5);
    EXPECT_EQ(std_.integerValue(SettingsKey::MenuBoxPreferredWidth), 0);
    setMenuBoxPreferredWidth(-1);
    EXPECT_EQ(std_.integerValue(SettingsKey::MenuBoxPreferredWidth), 0);

    EXPECT_DOUBLE_EQ(s.floatWindowBackgroundAlpha(), 0.4) << "absent";
    std_.setDouble(SettingsKey::FloatWindowBackgroundAlpha, 0.1);
    EXPECT_DOUBLE_EQ(s.floatWindowBackgroundAlpha(), 0.4);
    std_.setDouble(SettingsKey::FloatWindowBackgroundAlpha, 1.5);
    EXPECT_DOUBLE_EQ(s.floatWindowBackgroundAlpha(), 1.0);
    s.setFloatWindowBackgroundAlpha(0.8);
    EXPECT_DOUBLE_EQ(s.floatWindowBackgroundAlpha(), 0.8);
    EXPECT_TRUE(std_.value(SettingsKey::FloatWindowBackgroundAlpha)->is_number_float());

    std_.setInteger(SettingsKey::HomepageSubtitleType, 2);
    EXPECT_FALSE(s.homepageSubtitleType());
    s.setHomepageSubtitleType(Settings::HomepageSubtitleType::IPAddress);
    EXPECT_TRUE(s.homepageSubtitleType());

    SettingsDomain::group().setInteger(SettingsKey::DataUsageTimeRange, 2);
    EXPECT_EQ(dataUsageTimeRange(), 0);
    SettingsDomain::group().setInteger(SettingsKey::DataUsageTimeRange, 1);
    EXPECT_EQ(dataUsageTimeRange(), 1);

    setMenuBarStorageDisplayType(5);
    EXPECT_EQ(menuBarStorageDisplayType(), 1);
    setMenuBarStorageDisplayType(0);
    EXPECT_EQ(menuBarStorageDisplayType(), 0);
}

TEST_F(SettingsFront, KeysLandInTheirDomain) {
    setAccentColorIndex(3);
    setStorageReference(2);
    setDataUsageTimeRange(1);
    setPreferredTrafficType(2);
    EXPECT_EQ(SettingsDomain::group().integerValue(SettingsKey::AccentColorIndex), 3);
    EXPECT_EQ(SettingsDomain::group().integerValue(SettingsKey::StorageReference), 2);
    EXPECT_FALSE(SettingsDomain::standard().contains(SettingsKey::AccentColorIndex));
    EXPECT_EQ(SettingsDomain::standard().integerValue(SettingsKey::PreferredTrafficType), 2);
    EXPECT_FALSE(SettingsDomain::group().contains(SettingsKey::PreferredTrafficType));
    EXPECT_TRUE(Settings::isGroupKey(SettingsKey::NetActivitiesWiFiData));
    EXPECT_FALSE(Settings::isGroupKey(SettingsKey::NetMenuBoxType));
}

TEST_F(SettingsFront, SettersPostTheirNotifications) {
    QObject owner;
    QStringList seen;
    NotificationCenter& nc = NotificationCenter::defaultCenter();
    for (const char* name : {SettingsNotification::PerformanceQueuePriority,
                             SettingsNotification::PreferredTrafficTypeChanged,
                             SettingsNotification::DataUsageTimeRangeChanged,
                             SettingsNotification::ShowsHomepageStorageUsage,
                             SettingsNotification::ShowsHomepageBatteryUsage,
                             SettingsNotification::MenuBoxPreferredWidthChanged,
                             SettingsNotification::MenuBarStorageDisplayTypeDidChange,
                             SettingsNotification::FloatWindowModeDidChange,
                             SettingsNotification::WindowWideModeShowsTimeDidChange})
        nc.addObserver(&owner, name, [&seen](const Notification& n) { seen << n.name; });
    Settings& s = Settings::shared();
    setPerformanceQueuePriority(1);
    setPreferredTrafficType(1);
    setDataUsageTimeRange(1);
    s.setShowsHomepageStorageUsage(true);
    s.setShowsHomepageBatteryUsage(true);
    setMenuBoxPreferredWidth(1);
    setMenuBarStorageDisplayType(1);
    s.setFloatWindowMode(2);
    s.setFloatWindowWideModeShowsTime(true);
    s.setShowsMenuBarCPUUsage(true); // posts nothing
    EXPECT_EQ(seen, (QStringList{"PerformanceQueuePriorityNotificationKey",
                                 "PrefrredTrafficTypeChangedNotificationKey",
                                 "DataUsageTimeRangeChangedNotificationKey",
                                 "ShowsHomepageStorageUsageNotificationName",
                                 "ShowsHomepageBatteryUsageNotificationName",
                                 "MenuBoxPreferredWidthChangedNotificationName",
                                 "MenuBarStorageDisplayTypeDidChangeNotificationName",
                                 "app.settings.notification.floatWindowModeDidChange",
                                 "app.settings.notification.windowWideModeShowsTimeDidChange"}));
}

TEST_F(SettingsFront, HooksRunInRegistrationOrder) {
    QStringList calls;
    Settings::shared().settingsDidChange([&calls](const QString& k) { calls << "A:" + k; });
    Settings::shared().settingsDidChange([&calls](const QString& k) { calls << "B:" + k; });
    Settings::shared().setWantsBlurBackground(true);
    // Earlier tests may have registered hooks too: ours come last, A before B.
    ASSERT_GE(calls.size(), 2);
    EXPECT_EQ(calls.mid(calls.size() - 2),
              (QStringList{"A:WantsBlurBackground", "B:WantsBlurBackground"}));
    EXPECT_TRUE(Settings::shared().wantsBlurBackground());
}

TEST(NotificationCenterTest, ObserversDieWithTheirOwnerAndMayUnsubscribeWhilePosting) {
    NotificationCenter& nc = NotificationCenter::defaultCenter();
    int first = 0, second = 0;
    auto* owner = new QObject;
    QObject keeper;
    nc.addObserver(owner, "test.note", [&](const Notification&) {
        ++first;
        nc.removeObserver(&keeper, "test.note"); // drops the next observer mid-walk
    });
    nc.addObserver(&keeper, "test.note", [&](const Notification&) { ++second; });
    nc.post("test.note");
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    delete owner;
    EXPECT_EQ(nc.observerCount("test.note"), 0);
    nc.post("test.note");
    EXPECT_EQ(first, 1);
}

TEST(NotificationCenterTest, PostsFromOtherThreadsArriveOnTheMainThread) {
    NotificationCenter& nc = NotificationCenter::defaultCenter();
    QObject owner;
    bool onMain = false;
    int count = 0;
    nc.addObserver(&owner, "test.threaded", [&](const Notification& n) {
        onMain = QThread::currentThread() == qApp->thread();
        count += n.userInfo.value("n").toInt();
    });
    std::thread t([&] { nc.post("test.threaded", nullptr, {{"n", 7}}); });
    t.join();
    EXPECT_EQ(count, 0) << "delivery waits for the main loop";
    QCoreApplication::processEvents();
    EXPECT_EQ(count, 7);
    EXPECT_TRUE(onMain);
}

} // namespace
