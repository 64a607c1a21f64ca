// Launch at login: the autostart entry on disk and the switch that drives it.
#include "app/LoginHelper.h"
#include "app/SettingValue.h"
#include "platform/linux/XdgAutostart.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QObject>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

unsigned modeOf(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_mode & 07777 : 0;
}

QString entryIn(const TempDir& dir) {
    return dir.file("config/autostart/lumenstat.desktop");
}

} // namespace

TEST(XdgAutostart, EnableWritesAStartableEntryAndDisableRemovesIt) {
    TempDir dir;
    XdgAutostart autostart(dir.file("config"), "/opt/lumenstat/bin/lumenstat");
    ASSERT_EQ(autostart.entryPath(), entryIn(dir));

    // Enabling twice refreshes the entry; disabling twice is no error either.
    for (int round = 0; round < 2; ++round)
        ASSERT_EQ(autostart.setEnabled(true), QString());
    const QByteArray text = readAll(entryIn(dir));
    EXPECT_TRUE(text.startsWith("[Desktop Entry]\n"));
    for (const char* line :
         {"\nType=Application\n", "\nName=Lumenstat\n", "\nExec=/opt/lumenstat/bin/lumenstat\n",
          "\nIcon=com.quillfern.Lumenstat\n", "\nX-GNOME-Autostart-enabled=true\n"})
        EXPECT_TRUE(text.contains(line)) << line << " missing from\n" << text.constData();
    EXPECT_TRUE(text.contains("\nComment="));
    EXPECT_FALSE(text.contains("Hidden"));

    EXPECT_EQ(modeOf(entryIn(dir)), 0644u);
    // A folder the entry needed is made private; nothing else is left beside the entry.
    EXPECT_EQ(modeOf(dir.file("config/autostart")), 0700u);
    EXPECT_EQ(QDir(dir.file("config/autostart")).entryList(QDir::Files | QDir::Hidden),
              QStringList{"lumenstat.desktop"});

    for (int round = 0; round < 2; ++round)
        ASSERT_EQ(autostart.setEnabled(false), QString());
    EXPECT_FALSE(QFileInfo::exists(entryIn(dir)));
}

TEST(XdgAutostart, EnableReplacesAnEntryTheUserEditedOrLinked) {
    TempDir dir;
    XdgAutostart autostart(dir.file("config"), "/usr/bin/lumenstat");
    const QByteArray edited = "[Desktop Entry]\nType=Application\nName=Mine\nExec=lumenstat "
                              "--show\nHidden=true\nX-GNOME-Autostart-enabled=false\n";

    dir.write("config/autostart/lumenstat.desktop", edited);
    ::chmod(QFile::encodeName(entryIn(dir)).constData(), 0600);
    ASSERT_EQ(autostart.setEnabled(true), QString());
    EXPECT_EQ(readAll(entryIn(dir)), XdgAutostart::entryText("/usr/bin/lumenstat"));
    EXPECT_EQ(modeOf(entryIn(dir)), 0644u);

    // A link to another file: the link is replaced, the file it pointed at stays as it was.
    const QString target = dir.write("elsewhere.desktop", edited);
    QFile::remove(entryIn(dir));
    ASSERT_TRUE(QFile::link(target, entryIn(dir)));
    ASSERT_EQ(autostart.setEnabled(true), QString());
    EXPECT_FALSE(QFileInfo(entryIn(dir)).isSymLink());
    EXPECT_EQ(readAll(entryIn(dir)), XdgAutostart::entryText("/usr/bin/lumenstat"));
    EXPECT_EQ(readAll(target), edited);
}

TEST(XdgAutostart, FailuresSayWhy) {
    TempDir dir;
    // The autostart folder's place is taken by a file: nothing can be created (even as root).
    dir.write("config/autostart", "not a folder");
    XdgAutostart blocked(dir.file("config"), "/usr/bin/lumenstat");
    const QString error = blocked.setEnabled(true);
    EXPECT_TRUE(error.contains(dir.file("config/autostart"))) << qPrintable(error);
    // Nothing to remove is not a failure.
    EXPECT_EQ(blocked.setEnabled(false), QString());

    // An entry that cannot be removed (a folder in its place).
    QDir().mkpath(dir.file("other/autostart/lumenstat.desktop/inside"));
    XdgAutostart stuck(dir.file("other"), "/usr/bin/lumenstat");
    EXPECT_TRUE(stuck.setEnabled(false).contains("cannot remove"));
}

TEST(XdgAutostart, ExecValueQuotesWhatALauncherWouldSplitOrExpand) {
    const struct {
        const char* path;
        const char* value;
    } cases[] = {
        {"/usr/bin/lumenstat", "/usr/bin/lumenstat"},
        {"/home/a b/lumenstat", "\"/home/a b/lumenstat\""},
        {"/home/a$b/lum`x`", "\"/home/a\\\\$b/lum\\\\`x\\\\`\""},
        {"/srv/say\"hi\"", "\"/srv/say\\\\\"hi\\\\\"\""},
        {"/srv/back\\slash", "\"/srv/back\\\\\\\\slash\""},
        {"/srv/100%/lumenstat", "/srv/100%%/lumenstat"},
        {"/srv/new\nline", "\"/srv/new\\nline\""},
        {"/srv/ä/lumenstat", "/srv/ä/lumenstat"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(XdgAutostart::execValue(QString::fromUtf8(c.path)), QString::fromUtf8(c.value))
            << c.path;
}

TEST(LoginHelper, FollowsTheSettingAtOnceAndKeepsItWhenTheEntryCannotBeWritten) {
    TempDir dir;
    LoginHelper::setLoginItemsForTesting(
        std::make_shared<XdgAutostart>(dir.file("config"), "/usr/bin/lumenstat"));
    SettingsDomain::standard().clear();
    auto owner = std::make_unique<QObject>();
    LoginHelper::followSetting(owner.get());

    // `--set` and the service's SetValue go through SettingValue::apply.
    ASSERT_EQ(SettingValue::apply("WantsAutoLogin", true), QString());
    EXPECT_TRUE(QFileInfo::exists(entryIn(dir)));
    ASSERT_EQ(SettingValue::apply("WantsAutoLogin", false), QString());
    EXPECT_FALSE(QFileInfo::exists(entryIn(dir)));

    // Blocked: the switch stays on, and the reason is printed once, not at every attempt.
    QDir(dir.file("config/autostart")).removeRecursively();
    dir.write("config/autostart", "not a folder");
    testing::internal::CaptureStderr();
    ASSERT_EQ(SettingValue::apply("WantsAutoLogin", true), QString());
    LoginHelper::setAutoLoginEnabled(true);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(Settings::shared().autoLogin());
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find("launch at login could not be switched on"), std::string::npos) << said;

    // Once the owner is gone, changes no longer reach the entry.
    QFile::remove(dir.file("config/autostart"));
    owner.reset();
    ASSERT_EQ(SettingValue::apply("WantsAutoLogin", true), QString());
    EXPECT_FALSE(QFileInfo::exists(entryIn(dir)));

    LoginHelper::setLoginItemsForTesting(nullptr);
    SettingsDomain::standard().clear();
}
