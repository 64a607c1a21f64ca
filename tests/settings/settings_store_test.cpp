// The typed JSON domains and the Settings front: types, absent values, clamping, damaged
// files, durability across processes and threads, and change notifications.
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Runs body in a forked child that exits with its result.
pid_t forked(const std::function<bool()>& body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body() ? 0 : 1);
    return child;
}

int waited(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

TEST(SettingsDomain, EveryTypeSurvivesTheFileAndWrongTypesReadAsZero) {
    TempDir dir;
    const QString path = dir.file("nested/settings.json");
    {
        SettingsDomain d(path);
        d.setBool("b", true);
        d.setInteger("big", INT64_MAX);
        d.setDouble("f", 0.8);
        d.setString("s", QString::fromUtf8("Grüße 日本"));
        d.setStringList("l", {"20", "10"});
        d.setUnsignedList("u", {0, UINT64_MAX});
        d.setValue("mixed", nlohmann::json::array({"a", 1}));
        d.setValue("neg", nlohmann::json::array({1, -1}));
        d.setDouble("frac", 2.9);
        ASSERT_TRUE(d.flush());
    }
    EXPECT_EQ(QFileInfo(path).permissions() & (QFile::ReadGroup | QFile::ReadOther), 0);
    SettingsDomain d(path);
    EXPECT_TRUE(d.boolValue("b"));
    EXPECT_EQ(d.integerValue("big"), INT64_MAX);
    EXPECT_TRUE(d.value("f")->is_number_float()) << "floating values stay floating";
    EXPECT_EQ(d.stringValue("s"), QString::fromUtf8("Grüße 日本"));
    EXPECT_EQ(d.stringList("l"), (QStringList{"20", "10"}));
    EXPECT_EQ(d.unsignedList("u"), (std::vector<uint64_t>{0, UINT64_MAX}));
    EXPECT_EQ(d.integerValue("frac"), 2);

    EXPECT_FALSE(d.boolValue("s") || d.boolValue("missing"));
    EXPECT_EQ(d.integerValue("s") + d.integerValue("missing"), 0);
    EXPECT_EQ(d.doubleValue("s") + d.doubleValue("missing"), 0.0);
    EXPECT_TRUE(d.stringValue("missing").isNull());
    EXPECT_TRUE(d.stringValue("big").isEmpty());
    EXPECT_TRUE(d.stringList("mixed").isEmpty()) << "a list with a foreign element is ignored";
    EXPECT_FALSE(d.unsignedList("neg").has_value());
    EXPECT_FALSE(d.unsignedList("missing").has_value());
    EXPECT_FALSE(d.array("s").has_value());
}

// Whatever lies where the file should be, the domain starts empty, says so once, keeps the
// damaged thing aside and saves a good file in its place.
TEST(SettingsDomain, HostileFilesAreMovedAsideAndTheDomainStartsEmpty) {
    const auto bytes = [](QByteArray b) {
        return [b](const TempDir& dir) { dir.write("settings.json", b); };
    };
    const std::pair<const char*, std::function<void(const TempDir&)>> cases[] = {
        {"truncated", bytes("{\"WantsBlurBackground\": tr")},
        {"binary", bytes("\x89PNG garbage \x01\x02")},
        {"wrong shape", bytes("[1, 2, 3]")},
        {"empty", bytes("")},
        {"nested 100000 deep",
         bytes("{\"a\":" + QByteArray(100'000, '[') + QByteArray(100'000, ']') + "}")},
        {"fifo", [](const TempDir& d) { ::mkfifo(qPrintable(d.file("settings.json")), 0600); }},
        {"device",
         [](const TempDir& d) { ::symlink("/dev/zero", qPrintable(d.file("settings.json"))); }},
        {"too large", [](const TempDir& d) {
             QFile(d.write("settings.json", "{}")).resize(SettingsDomain::kMaxFileBytes + 1);
         }}};
    for (const auto& [what, make] : cases) {
        TempDir dir;
        make(dir);
        testing::internal::CaptureStderr();
        SettingsDomain d(dir.file("settings.json"));
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(d.keys().empty()) << what;
        const QString aside = d.movedAsidePath();
        EXPECT_TRUE(!aside.isEmpty() && (QFileInfo(aside).exists() || QFileInfo(aside).isSymLink()))
            << what;
        EXPECT_NE(said.find("moved it aside to " + aside.toStdString()), std::string::npos)
            << what << ": " << said;
        d.setBool("WantsBlurBackground", true);
        ASSERT_TRUE(d.flush()) << what;
        SettingsDomain again(dir.file("settings.json"));
        EXPECT_TRUE(again.boolValue("WantsBlurBackground") && again.movedAsidePath().isEmpty())
            << what;
    }
}

TEST(SettingsDomain, WritingThroughASymbolicLinkKeepsTheLink) {
    TempDir dir;
    const QString target = dir.write("dotfiles/lumenstat.json", "{\"kept\": 1}");
    const QString path = dir.file("settings.json");
    ASSERT_TRUE(QFile::link(target, path));
    SettingsDomain d(path);
    d.setInteger("added", 2);
    ASSERT_TRUE(d.flush());
    EXPECT_TRUE(QFileInfo(path).isSymLink());
    SettingsDomain reader(target);
    EXPECT_EQ(reader.integerValue("kept") + reader.integerValue("added"), 3);
}

// Writers in separate processes each keep the others' keys; a key removed here stays
// removed.
TEST(SettingsDomain, WritersInOtherProcessesKeepEachOthersKeys) {
    TempDir dir;
    const QString path = dir.write("s.json", "{\"shared\": 0, \"gone\": 1}");
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i)
        children.push_back(forked([&] {
            SettingsDomain d(path);
            d.setInteger("k" + std::to_string(i), i);
            d.setInteger("shared", i);
            return d.flush();
        }));
    SettingsDomain mine(path);
    mine.remove("gone");
    for (pid_t child : children)
        EXPECT_EQ(waited(child), 0);
    ASSERT_TRUE(mine.flush());
    SettingsDomain reader(path);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(reader.integerValue("k" + std::to_string(i)), i);
    EXPECT_FALSE(reader.contains("gone"));
    EXPECT_TRUE(reader.contains("shared"));
    EXPECT_FALSE(QFile::exists(path + ".tmp"));
}

// A save that cannot happen (a file where the folder should be, which stops root too) is
// said once with the reason; the values stay in memory, and saving works again later.
TEST(SettingsDomain, AFailingSaveIsSaidOnceAndLeavesNoPartialFile) {
    TempDir dir;
    const QString path = dir.write("blocked", "x") + "/settings.json";
    SettingsDomain d(path);
    testing::internal::CaptureStderr();
    d.setInteger("a", 1);
    EXPECT_FALSE(d.flush());
    d.setInteger("b", 2);
    EXPECT_FALSE(d.flush());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "lumenstat: could not save " + path.toStdString() + ": " + std::strerror(ENOTDIR) +
                  "; the changes are kept in memory\n");
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"blocked"});
    ASSERT_TRUE(QFile::remove(dir.file("blocked")) && QDir().mkpath(dir.file("blocked")));
    EXPECT_TRUE(d.flush());
    EXPECT_TRUE(d.lastWriteError().isEmpty());
    EXPECT_EQ(SettingsDomain(path).integerValue("a"), 1);
}

TEST(SettingsDomain, ConcurrentWritersLoseNothingAndReachTheDiskWithoutAFlush) {
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
    const auto onDisk = [&] {
        SettingsDomain reader(dir.file("s.json"));
        for (int t = 0; t < 4; ++t)
            if (reader.unsignedList("k" + std::to_string(t)) != std::vector<uint64_t>{499, 1})
                return false;
        return true;
    };
    for (int i = 0; i < 100 && !onDisk(); ++i)
        usleep(20'000);
    EXPECT_TRUE(onDisk());
}

// A writer killed with SIGKILL at arbitrary moments never leaves a file that fails to load.
TEST(SettingsDomain, KillDuringHeavyWritingLeavesAReadableFile) {
    TempDir dir;
    const QString path = dir.file("group.json");
    for (int round = 0; round < 6; ++round) {
        const pid_t child = forked([&] {
            SettingsDomain d(path);
            d.setWriteDelay(0);
            const QString filler(4096, 'x');
            for (uint64_t i = 0;; ++i) {
                d.setUnsignedList("counter", {i, i * 2});
                d.setString("filler" + std::to_string(i % 64), filler);
                d.flush();
            }
            return true;
        });
        usleep(static_cast<useconds_t>(30'000 + round * 17'000));
        kill(child, SIGKILL);
        ASSERT_TRUE(WIFSIGNALED(waited(child)));
        SettingsDomain d(path);
        EXPECT_TRUE(d.movedAsidePath().isEmpty()) << "round " << round;
        if (QFile::exists(path)) {
            const auto counter = d.unsignedList("counter");
            ASSERT_TRUE(counter.has_value()) << "round " << round;
            EXPECT_EQ((*counter)[1], (*counter)[0] * 2);
            struct stat st {};
            EXPECT_TRUE(::stat(qPrintable(path), &st) == 0 && (st.st_mode & 0777) == 0600);
        }
    }
}

class SettingsFront : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().clear();
        SettingsDomain::group().clear();
    }
    Settings& s = Settings::shared();
    SettingsDomain& standard = SettingsDomain::standard();
};

// Stored values outside a key's range read as its default; setters keep to the range.
TEST_F(SettingsFront, OutOfRangeValuesReadAsTheDefault) {
    EXPECT_DOUBLE_EQ(s.floatWindowBackgroundAlpha(), 0.4) << "absent";
    EXPECT_EQ(s.floatWindowMode(), 0);
    standard.setInteger(SettingsKey::MenuBoxPreferredWidth, 7);
    EXPECT_EQ(menuBoxPreferredWidth(), Settings::MenuBoxPreferredWidth::Auto);
    standard.setDouble(SettingsKey::FloatWindowBackgroundAlpha, 0.1);
    EXPECT_DOUBLE_EQ(s.floatWindowBackgroundAlpha(), 0.4);
    standard.setDouble(SettingsKey::FloatWindowBackgroundAlpha, 1.5);
    EXPECT_DOUBLE_EQ(s.floatWindowBackgroundAlpha(), 1.0);
    SettingsDomain::group().setInteger(SettingsKey::DataUsageTimeRange, 2);
    EXPECT_EQ(dataUsageTimeRange(), 0);
    setMenuBarStorageDisplayType(5);
    EXPECT_EQ(menuBarStorageDisplayType(), 1);
}

TEST_F(SettingsFront, SettersWriteTheirDomainPostTheirNotificationAndCallTheHooks) {
    QObject owner;
    QStringList seen;
    for (const char* name : {SettingsNotification::PreferredTrafficTypeChanged,
                             SettingsNotification::DataUsageTimeRangeChanged,
                             SettingsNotification::FloatWindowModeDidChange})
        NotificationCenter::defaultCenter().addObserver(
            &owner, name, [&seen](const Notification& n) { seen << n.name; });
    auto calls = std::make_shared<QStringList>(); // the hooks outlive this test
    s.settingsDidChange([calls](const QString& k) { *calls << "A:" + k; });
    s.settingsDidChange([calls](const QString& k) { *calls << "B:" + k; });
    setPreferredTrafficType(2);
    setDataUsageTimeRange(1);
    s.setShowsMenuBarCPUUsage(true); // posts nothing
    s.setFloatWindowMode(2);
    s.setWantsBlurBackground(true);
    EXPECT_EQ(seen, (QStringList{"PrefrredTrafficTypeChangedNotificationKey",
                                 "DataUsageTimeRangeChangedNotificationKey",
                                 "app.settings.notification.floatWindowModeDidChange"}));
    EXPECT_EQ(standard.integerValue(SettingsKey::PreferredTrafficType), 2);
    EXPECT_EQ(SettingsDomain::group().integerValue(SettingsKey::DataUsageTimeRange), 1);
    EXPECT_FALSE(standard.contains(SettingsKey::DataUsageTimeRange));
    // Earlier tests may have registered hooks too: ours come last, A before B.
    const QString key = SettingsKey::WantsBlurBackground;
    ASSERT_GE(calls->size(), 2);
    EXPECT_EQ(calls->mid(calls->size() - 2), (QStringList{"A:" + key, "B:" + key}));
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
    EXPECT_EQ(std::pair(first, second), std::pair(1, 0));
    delete owner;
    EXPECT_EQ(nc.observerCount("test.note"), 0);
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
    std::thread([&] { nc.post("test.threaded", nullptr, {{"n", 7}}); }).join();
    EXPECT_EQ(count, 0) << "delivery waits for the main loop";
    QCoreApplication::processEvents();
    EXPECT_EQ(count, 7);
    EXPECT_TRUE(onMain);
}

} // namespace
