// Shared main: every test program gets its own configuration and data folders (no test
// touches the user's settings) and a QApplication on the offscreen platform.
#include <QApplication>
#include <QDir>

#include <gtest/gtest.h>

#include <cstdlib>

// Caches Qt's D-Bus module, libdbus, fontconfig and glib keep until exit on purpose (also
// in tests/lsan.supp for the script tests).
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libQt6DBus.so\nleak:libdbus-1.so\nleak:libfontconfig.so\nleak:libglib-2.0.so\n";
}

int main(int argc, char** argv) {
    QByteArray base = (QDir::tempPath() + "/lumenstat-tests-XXXXXX").toLocal8Bit();
    if (!mkdtemp(base.data()))
        return 2;
    for (const char* what : {"CONFIG", "DATA"}) {
        const QByteArray dir = base + "/" + QByteArray(what).toLower();
        QDir().mkpath(QString::fromLocal8Bit(dir));
        setenv((QByteArray("XDG_") + what + "_HOME").constData(), dir.constData(), 1);
    }
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int rc = RUN_ALL_TESTS();
    QDir(QString::fromLocal8Bit(base)).removeRecursively();
    return rc;
}
