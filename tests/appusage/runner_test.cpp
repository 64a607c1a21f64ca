// The runner against a stand-in tool that plays recorded chunks.
#include "AppUsageFixtures.h"

#include "appusage/NettopScriptRunner.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

const QString kFakeTool = QStringLiteral(LUMENSTAT_SOURCE_DIR "/tests/appusage/fake_nettop.sh");

class RunnerTest : public ::testing::Test {
protected:
    RunnerTest() {
        qputenv("FAKE_NETTOP_CHUNKS", fixtures::path("chunks").toLocal8Bit());
        qputenv("FAKE_NETTOP_ARGS", dir.file("args").toLocal8Bit());
        qputenv("FAKE_NETTOP_INTERVAL", "0.05");
        for (const char* name : {NettopScriptRunner::kLaunchedNotificationName,
                                 NettopScriptRunner::kTerminatedNotificationName})
            NotificationCenter::defaultCenter().addObserver(
                &observer, name, [this](const Notification& n) { posted << n.name; });
    }
    ~RunnerTest() override {
        for (const char* name : {"FAKE_NETTOP_CHUNKS", "FAKE_NETTOP_ARGS", "FAKE_NETTOP_INTERVAL"})
            qunsetenv(name);
    }
    TempDir dir;
    QObject observer;
    QStringList posted;
};

TEST_F(RunnerTest, MissingToolOrAFolderStartsNothing) {
    for (const QString& path : {dir.file("absent"), dir.path(), QString()}) {
        NettopScriptRunner runner(path);
        Settings::shared().setWantsAppDataUsageTracking(true);
        runner.runScript([](const QString&) {});
        QCoreApplication::processEvents();
        EXPECT_FALSE(runner.canRunScript()) << qPrintable(path);
        EXPECT_FALSE(runner.standardOutputHandler);
        EXPECT_FALSE(runner.isRunning());
        EXPECT_TRUE(Settings::shared().wantsAppDataUsageTracking()) << "the flag keeps its value";
    }
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(RunnerTest, StreamsChunksAsTheyComeAndReportsLaunchAndEnd) {
    NettopScriptRunner runner(kFakeTool);
    QString received;
    int launched = 0;
    int ended = 0;
    runner.taskLaunchedHandler = [&] { ++launched; };
    runner.taskTerminationHandler = [&] { ++ended; };
    runner.runScript([&](const QString& chunk) { received += chunk; });
    EXPECT_FALSE(runner.isRunning()) << "the launch follows from the event loop";
    ASSERT_TRUE(waitUntil([&] { return launched == 1; }));
    EXPECT_TRUE(runner.isRunning());
    EXPECT_EQ(posted, QStringList{NettopScriptRunner::kLaunchedNotificationName});
    EXPECT_TRUE(Settings::shared().wantsAppDataUsageTracking());

    // Starting again while it runs changes nothing.
    bool replaced = false;
    runner.runScript([&](const QString&) { replaced = true; });

    const QString all = fixtures::chunks().join(QString());
    ASSERT_TRUE(waitUntil([&] { return received.size() >= all.size(); }));
    EXPECT_EQ(received, all) << "chunks arrive whole and in order, cut lines included";
    EXPECT_FALSE(replaced);
    QFile args(dir.file("args"));
    ASSERT_TRUE(args.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(args.readAll()).split('\n', Qt::SkipEmptyParts),
              NettopScriptRunner::arguments());
    EXPECT_EQ(NettopScriptRunner::arguments().size(), 10);

    // A pause: terminate, then clear at once. The end is said twice (by the clear and by the
    // process's own end), and the termination handler runs once.
    const qint64 pid = runner.processId();
    ASSERT_GT(pid, 0);
    runner.terminate();
    runner.clearTask();
    EXPECT_FALSE(runner.isRunning());
    ASSERT_TRUE(waitUntil([&] { return ended == 1; }));
    ASSERT_TRUE(waitUntil([&] { return posted.size() == 3; }));
    EXPECT_EQ(posted.mid(1), (QStringList{NettopScriptRunner::kTerminatedNotificationName,
                                          NettopScriptRunner::kTerminatedNotificationName}));
    EXPECT_TRUE(waitUntil([&] { return ::kill(pid_t(pid), 0) != 0; })) << "the tool is gone";
}

// A tool that ends by itself (end of file): the handler gets what was printed, then the end.
TEST_F(RunnerTest, AToolThatEndsClearsTheTask) {
    const QString script = dir.write("once.sh", "#!/bin/sh\nprintf 'h\\nx,a.1,1,1,\\n'\n");
    QFile::setPermissions(script, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    NettopScriptRunner runner(script);
    QStringList chunks;
    int ended = 0;
    runner.taskTerminationHandler = [&] { ++ended; };
    runner.runScript([&](const QString& chunk) { chunks << chunk; });
    ASSERT_TRUE(waitUntil([&] { return ended == 1; }));
    EXPECT_EQ(chunks.join(QString()), "h\nx,a.1,1,1,\n");
    EXPECT_FALSE(runner.isRunning());
    EXPECT_EQ(posted.count(NettopScriptRunner::kTerminatedNotificationName), 1);
}

} // namespace
