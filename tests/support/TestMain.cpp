// Shared main for the test programs: every program gets its own configuration and data
// folders (so no test touches the user's real settings) and a QApplication on the
// offscreen platform.
#include <QApplication>
#include <QDir>

#include <gtest/gtest.h>

#include <cstdlib>

// Allocations that Qt's D-Bus module, libdbus and fontconfig keep until process exit on
// purpose (per-connection caches, type registries): not leaks of ours. The same list is in
// tests/lsan.supp for the script tests that run the app itself.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libQt6DBus.so\n"
           "leak:libdbus-1.so\n"
           "leak:libfontconfig.so\n"
           "leak:libglib-2.0.so\n";
}

int main(int argc, char** argv) {
    QByteArray base = (QDir::tempPath() + "/lumenstat-tests-XXXXXX").toLocal8Bit();
    if (!mkdtemp(base.data()))
        return 2;
    const QByteArray config = base + "/config";
    const QByteArray data = base + "/data";
    QDir().mkpath(QString::fromLocal8Bit(config));
    QDir().mkpath(QString::fromLocal8Bit(data));
    setenv("XDG_CONFIG_HOME", config.constData(), 1);
    setenv("XDG_DATA_HOME", data.constData(), 1);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);

    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int rc = RUN_ALL_TESTS();
    QDir(QString::fromLocal8Bit(base)).removeRecursively();
    return rc;
}
