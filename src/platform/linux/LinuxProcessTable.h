#pragma once

#include "DesktopEntryIndex.h"
#include "platform/ProcessSources.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

// The processes of <procfs root> matched to desktop entries. A process is an application's
// when its systemd unit in /proc/PID/cgroup names a desktop id ("app-gnome-firefox-1234.scope",
// "app-flatpak-org.foo.Bar-5.scope", "app-org.foo.Bar@x.service", "snap.foo.foo-<id>.scope"),
// when GIO_LAUNCHED_DESKTOP_FILE names the entry that started it, or when its executable is
// the program an entry's Exec= starts. Of the processes of one application the one whose
// parent is not also the application's is its main process (the lowest such pid).
// Only processes of this user are looked at; what a process is found to be is remembered for
// a while, so a scan reads only new processes.
class LinuxProcessTable : public ProcessSource {
public:
    static constexpr int64_t kRememberMs = 30'000;

    struct Options {
        QString procfsRoot;               // "": PlatformPaths::procfsRoot()
        QStringList languages;            // for Name[xx]
        QStringList dataDirs;             // "": from the environment
        std::function<int64_t()> clockMs; // null: the monotonic clock
    };

    explicit LinuxProcessTable(Options options = {});

    std::vector<RunningApplication> runningApplications() override;
    int32_t parentProcessIdentifier(int32_t pid) override;
    QString iconName(const QString& bundleIdentifier) override;

    // The desktop id a systemd unit name stands for, tried against known (longest launcher
    // prefix last); absent when the unit is not an application's.
    static std::optional<QString> desktopIdOfUnit(const QString& unit,
                                                  const std::function<bool(const QString&)>& known);
    // The parent field of a /proc/PID/stat text; 0 when it does not read.
    static int32_t parentOfStat(const QByteArray& stat);

private:
    struct Seen {
        QString id; // "" when the process is no application's
        int32_t parent = 0;
        int64_t examinedMs = 0;
    };
    const DesktopEntryIndex& index();
    Seen examine(int32_t pid);
    std::optional<QString> idFromCgroup(const QString& dir);
    std::optional<QString> idFromEnvironment(const QString& dir, int32_t pid);
    std::optional<QString> idFromExecutable(const QString& dir);
    int64_t nowMs() const;

    Options options_;
    std::unique_ptr<DesktopEntryIndex> index_;
    int64_t indexBuiltMs_ = 0;
    QHash<int32_t, Seen> seen_;
    uint32_t uid_;
};
