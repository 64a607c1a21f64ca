#include "NettopScriptRunner.h"

#include "platform/linux/TrackTool.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QStringDecoder>
#include <QTimer>

#include <csignal>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace {

void onMainThread(std::function<void()> work) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(work), Qt::QueuedConnection);
}

void post(const char* name) {
    NotificationCenter::defaultCenter().post(QString::fromLatin1(name));
}

} // namespace

const QStringList& NettopScriptRunner::arguments() {
    static const QStringList list = {
        QStringLiteral("-d"), QStringLiteral("-P"),
        QStringLiteral("-J"), QStringLiteral("bytes_in, bytes_out"),
        QStringLiteral("-x"), QStringLiteral("-L"),
        QStringLiteral("0"),  QStringLiteral("-c"),
        QStringLiteral("-t"), QStringLiteral("external"),
    };
    return list;
}

QString NettopScriptRunner::installedToolPath() {
    return TrackTool::locate();
}

NettopScriptRunner& NettopScriptRunner::shared() {
    // Kept for the life of the process: a child that outlives the runner would lose its owner.
    static NettopScriptRunner* runner = new NettopScriptRunner(installedToolPath());
    return *runner;
}

NettopScriptRunner::NettopScriptRunner(QString toolPath, QObject* parent)
    : QObject(parent), toolPath_(std::move(toolPath)) {}

NettopScriptRunner::~NettopScriptRunner() {
    // A runner that goes away ends its tool and does not wait for it.
    if (task_) {
        task_->disconnect(this);
        task_->terminate();
        task_->waitForFinished(1000);
    }
}

bool NettopScriptRunner::canRunScript() {
    if (!canRun_) {
        const QFileInfo info(toolPath_);
        canRun_ = !toolPath_.isEmpty() && info.exists() && !info.isDir();
    }
    return *canRun_;
}

bool NettopScriptRunner::isRunning() const {
    return task_ && task_->state() != QProcess::NotRunning;
}

qint64 NettopScriptRunner::processId() const {
    return isRunning() ? task_->processId() : 0;
}

void NettopScriptRunner::terminate() {
    if (isRunning())
        task_->terminate();
}

void NettopScriptRunner::runScript(OutputHandler handler) {
    if (!canRunScript() || isRunning())
        return;
    standardOutputHandler = std::move(handler);
    // Returns at once; the launch follows from the event loop.
    QPointer<NettopScriptRunner> self(this);
    QTimer::singleShot(0, this, [self] {
        if (self)
            self->launch();
    });
}

void NettopScriptRunner::clearTask() {
    if (task_) {
        // The old process may still be ending; it deletes itself once it has.
        QProcess* old = task_;
        task_ = nullptr;
        if (old->state() == QProcess::NotRunning)
            old->deleteLater();
        else
            connect(old, &QProcess::finished, old, &QObject::deleteLater);
    }
    onMainThread([] { post(kTerminatedNotificationName); });
}

void NettopScriptRunner::attachOutputPipe(QProcess* process) {
    // Standard input and standard error stay the parent's.
    process->setInputChannelMode(QProcess::ForwardedInputChannel);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->setReadChannel(QProcess::StandardOutput);
    auto decoder = std::make_shared<QStringDecoder>(QStringDecoder::Utf8);
    auto streaming = std::make_shared<bool>(true);
    QPointer<NettopScriptRunner> self(this);
    connect(process, &QProcess::readyReadStandardOutput, this, [self, process, decoder, streaming] {
        const QByteArray data = process->readAllStandardOutput();
        if (!*streaming || data.isEmpty())
            return; // after a stop the output is drained and dropped
        const QString text = decoder->decode(data);
        if (decoder->hasError() || text.isEmpty()) {
            *streaming = false;
            return;
        }
        if (self && self->standardOutputHandler)
            self->standardOutputHandler(text);
    });
}

void NettopScriptRunner::launch() {
    Settings::shared().setWantsAppDataUsageTracking(false);

    QProcess* process = new QProcess(this);
    if (task_ && task_->state() == QProcess::NotRunning)
        task_->deleteLater();
    task_ = process;
    process->setProgram(toolPath_);
    process->setArguments(arguments());
    process->setChildProcessModifier([] {
        // The lowest scheduling class, and the tool ends with us.
        struct sched_param param {};
        ::sched_setscheduler(0, SCHED_IDLE, &param);
        ::setpriority(PRIO_PROCESS, 0, 19);
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    });

    QPointer<NettopScriptRunner> self(this);
    connect(process, &QProcess::finished, this, [self, process] {
        if (!self)
            return;
        self->clearTask();
        onMainThread([self] {
            if (self && self->taskTerminationHandler)
                self->taskTerminationHandler();
        });
        process->deleteLater();
    });
    connect(process, &QProcess::errorOccurred, this, [self, process](QProcess::ProcessError e) {
        // A tool that could not start has no finished() to come.
        if (e == QProcess::FailedToStart && self && self->task_ == process) {
            self->task_ = nullptr;
            process->deleteLater();
        }
    });
    attachOutputPipe(process);
    process->start(QIODevice::ReadOnly);
    if (!process->waitForStarted(5000))
        return; // the flag stays false: tracking is not resumed at the next start

    onMainThread([self] {
        if (!self)
            return;
        if (self->taskLaunchedHandler)
            self->taskLaunchedHandler();
        post(kLaunchedNotificationName);
    });
    Settings::shared().setWantsAppDataUsageTracking(true);
}
