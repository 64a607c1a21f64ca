#include "PrivateBus.h"

#include "Wait.h"

#include <QDBusConnectionInterface>
#include <QProcessEnvironment>

#include <atomic>

PrivateBus::PrivateBus() {
    static std::atomic<int> counter{0};
    connectionName_ = QStringLiteral("lumenstat-test-bus-%1").arg(counter++);
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--session"), QStringLiteral("--nofork"),
                   QStringLiteral("--print-address=1")});
    if (!daemon_.waitForStarted(5000))
        return;
    if (!waitUntil([this] { return daemon_.canReadLine(); }, 5000))
        return;
    address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
}

PrivateBus::~PrivateBus() {
    QDBusConnection::disconnectFromBus(connectionName_);
    for (auto& m : mocks_) {
        m->terminate();
        if (!m->waitForFinished(3000))
            m->kill();
        m->waitForFinished(1000);
    }
    if (daemon_.state() != QProcess::NotRunning) {
        daemon_.terminate();
        if (!daemon_.waitForFinished(3000))
            daemon_.kill();
        daemon_.waitForFinished(1000);
    }
}

QDBusConnection PrivateBus::connection() {
    return QDBusConnection::connectToBus(address_, connectionName_);
}

bool PrivateBus::startTemplate(const QString& templateName, const QString& busName, bool system,
                               const QStringList& extraArgs) {
    if (!isRunning())
        return false;
    auto proc = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(system ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS", address_);
    proc->setProcessEnvironment(env);
    proc->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList args{QStringLiteral("-m"), QStringLiteral("dbusmock")};
    args << (system ? QStringLiteral("--system") : QStringLiteral("--session"));
    args << QStringLiteral("--template") << templateName << extraArgs;
    proc->start(QStringLiteral("/usr/bin/python3"), args);
    if (!proc->waitForStarted(5000))
        return false;
    mocks_.push_back(std::move(proc));
    QDBusConnection bus = connection();
    return waitUntil(
        [&] { return bus.interface() && bus.interface()->isServiceRegistered(busName).value(); },
        10000);
}
