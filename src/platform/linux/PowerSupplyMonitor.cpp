#include "PowerSupplyMonitor.h"

#include <QList>
#include <QSocketNotifier>

#include <cerrno>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

PowerSupplyMonitor::PowerSupplyMonitor(QObject* parent) : QObject(parent) {}

PowerSupplyMonitor::~PowerSupplyMonitor() {
    stop();
}

bool PowerSupplyMonitor::isPowerSupplyEvent(const QByteArray& message) {
    // Messages relayed by udev start with a "libudev" header; only kernel ones are read here.
    if (message.startsWith("libudev"))
        return false;
    const QList<QByteArray> fields = message.split('\0');
    for (const QByteArray& field : fields)
        if (field == "SUBSYSTEM=power_supply")
            return true;
    return false;
}

bool PowerSupplyMonitor::start() {
    if (isRunning())
        return true;
    const int fd =
        ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT);
    if (fd < 0)
        return false;
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = 0;
    address.nl_groups = 1; // kernel events
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return false;
    }
    return startWithDescriptor(fd);
}

bool PowerSupplyMonitor::startWithDescriptor(int fd) {
    if (fd < 0)
        return false;
    stop();
    fd_ = fd;
    notifier_ = new QSocketNotifier(fd_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] { readEvents(); });
    return true;
}

void PowerSupplyMonitor::stop() {
    delete notifier_;
    notifier_ = nullptr;
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

void PowerSupplyMonitor::readEvents() {
    bool changed = false;
    char buffer[8192];
    for (;;) {
        const ssize_t n = ::recv(fd_, buffer, sizeof buffer, MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            break; // EAGAIN: drained; anything else: try again at the next wake-up
        }
        if (n == 0)
            break;
        if (isPowerSupplyEvent(QByteArray(buffer, int(n))))
            changed = true;
    }
    if (changed)
        emit powerSupplyChanged();
}
