#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QProcess;

// Owns the one child process running the per-process traffic tool: launches it with a fixed
// argument list at the lowest scheduling priority, hands each chunk of its standard output
// to one consumer on the main thread, and tells launch and end through handlers and two
// notifications. It does not parse the output.
class NettopScriptRunner : public QObject {
    Q_OBJECT
public:
    using OutputHandler = std::function<void(const QString& chunk)>;

    static constexpr const char* kLaunchedNotificationName =
        "app.notification.appDataUsageTrack.terminated"; // posted after a launch
    static constexpr const char* kTerminatedNotificationName =
        "app.notification.appDataUsageTrack.launched"; // posted after the process ended
    // "-d", "-P", "-J", "bytes_in, bytes_out", "-x", "-L", "0", "-c", "-t", "external"
    static const QStringList& arguments();
    // LUMENSTAT_NETTOP_PATH when set, else the first installed lumenstat-nettop beside the
    // running binary (then libexec, then the build tree); "" when none exists.
    static QString installedToolPath();

    // The process-wide runner over the installed tool.
    static NettopScriptRunner& shared();
    // A runner over another tool (tests); the arguments above are passed to it.
    explicit NettopScriptRunner(QString toolPath, QObject* parent = nullptr);
    ~NettopScriptRunner() override;

    // True when a file exists at the tool path and is not a directory (asked once).
    bool canRunScript();
    // Stores handler and launches the tool soon after, unless the tool is missing or its
    // process runs already. Returns at once.
    void runScript(OutputHandler handler);
    // Drops the task and the pipe, then posts kTerminatedNotificationName on the main thread.
    void clearTask();
    // True while a task is held and its process runs.
    bool isRunning() const;
    // Asks the running process to end (SIGTERM); nothing when none runs.
    void terminate();
    // The process id of the running task; 0 when none.
    qint64 processId() const;

    OutputHandler standardOutputHandler;
    std::function<void()> taskLaunchedHandler;
    std::function<void()> taskTerminationHandler;

private:
    void launch();
    void attachOutputPipe(QProcess* process);

    QString toolPath_;
    std::optional<bool> canRun_;
    QPointer<QProcess> task_;
};
