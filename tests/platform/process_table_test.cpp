// Running applications and parents from a procfs tree and the XDG application entries.
#include "platform/linux/DesktopEntryIndex.h"
#include "platform/linux/LinuxProcessTable.h"

#include <gtest/gtest.h>

namespace {

QString fixture(const char* relative) {
    return QStringLiteral(LUMENSTAT_FIXTURES_DIR "/appusage/") + QLatin1String(relative);
}

LinuxProcessTable table(QStringList languages = {}) {
    LinuxProcessTable::Options options;
    options.procfsRoot = fixture("proc");
    options.dataDirs = {fixture("home-share"), fixture("system-share")};
    options.languages = std::move(languages);
    return LinuxProcessTable(options);
}

TEST(LinuxProcessTable, ApplicationsFromUnitsLaunchersAndExecutables) {
    auto processes = table({"zh_CN", "zh"});
    const std::vector<RunningApplication> apps = processes.runningApplications();
    // firefox: its systemd scope (the home entry hides the system one; 501 and 502 are its
    // children); gedit: the launcher's variable (601 inherited it); thunderbird: its
    // executable against Exec= behind env and quotes; chat: a Flatpak scope; spotify: a
    // Snap scope. The hidden entry masks the process 960.
    const std::vector<RunningApplication> expected = {
        {"firefox-esr", "Firefox ESR", "Firefox 延长支持版", "firefox-esr", 500},
        {"org.gnome.gedit", "Text Editor", "Text Editor", "org.gnome.gedit", 600},
        {"thunderbird", "Thunderbird", "Thunderbird", "thunderbird", 700},
        {"org.example.Chat", "Chat", "Chat", "org.example.Chat", 800},
        {"spotify_spotify", "Spotify", "Spotify", "/snap/spotify/current/icon.png", 850},
    };
    EXPECT_EQ(apps, expected);
    EXPECT_EQ(processes.runningApplications(), expected) << "the remembered answer";
    EXPECT_EQ(processes.iconName("org.gnome.gedit"), "org.gnome.gedit");
    EXPECT_EQ(processes.iconName("hidden-app"), "");

    const std::pair<int32_t, int32_t> parents[] = {{502, 501},  {501, 500}, {500, 400}, {1, 0},
                                                   {424242, 0}, {0, 0},     {-3, 0}};
    for (const auto& [pid, parent] : parents)
        EXPECT_EQ(processes.parentProcessIdentifier(pid), parent) << pid;
}

TEST(LinuxProcessTable, UnitNamesAndExecLines) {
    const QStringList known = {"firefox-esr", "org.gnome.Terminal", "foo_bar", "code"};
    const auto isKnown = [&](const QString& id) { return known.contains(id); };
    const std::pair<const char*, std::optional<QString>> units[] = {
        {"app-gnome-firefox\\x2desr-500.scope", QString("firefox-esr")},
        {"app-firefox\\x2desr-500.scope", QString("firefox-esr")},
        {"app-org.gnome.Terminal@3c1a.service", QString("org.gnome.Terminal")},
        {"app-gnome-org.gnome.Terminal.service", QString("org.gnome.Terminal")},
        {"app-flatpak-code-9.scope", QString("code")},
        {"snap.foo.bar-1f.scope", QString("foo_bar")},
        {"app-unknown-5.scope", std::nullopt},
        {"session-2.scope", std::nullopt},
        {"app-code", std::nullopt},
        {"snap.foo.scope", std::nullopt}};
    for (const auto& [unit, id] : units)
        EXPECT_EQ(LinuxProcessTable::desktopIdOfUnit(unit, isKnown), id) << unit;

    const std::pair<const char*, const char*> execs[] = {
        {"firefox %u", "firefox"},
        {"/usr/bin/env A=1 B=2 /opt/x/bin/app --flag", "app"},
        {"\"/opt/My App/run\" %F", "run"},
        {"env", ""},
        {"", ""}};
    for (const auto& [exec, program] : execs)
        EXPECT_EQ(DesktopEntryIndex::executableOf(exec), program) << exec;

    EXPECT_EQ(LinuxProcessTable::parentOfStat("7 (a) b) c) S 42 7"), 42);
    EXPECT_EQ(LinuxProcessTable::parentOfStat("7 a S 42"), 0);

    const DesktopEntryIndex index({}, {fixture("system-share")});
    EXPECT_TRUE(index.find("kde-editor")) << "a subfolder is part of the id";
    EXPECT_FALSE(index.find("link")) << "not an application";
    EXPECT_EQ(index.find("firefox-esr")->name, "Masked Firefox");
}

} // namespace
