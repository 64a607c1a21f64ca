#include "UnixSignalWatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
int g_pipe[2] = {-1, -1};

void onSignal(int sig) {
    const unsigned char byte = static_cast<unsigned char>(sig);
    const int saved = errno;
    [[maybe_unused]] ssize_t n = ::write(g_pipe[1], &byte, 1);
    errno = saved;
}
} // namespace

UnixSignalWatcher::UnixSignalWatcher(std::initializer_list<int> sigs, QObject* parent)
    : QObject(parent) {
    if (g_pipe[0] < 0 && ::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    notifier_ = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        while (::read(g_pipe[0], &byte, 1) == 1)
            emit received(byte);
    });
    for (int sig : sigs) {
        struct sigaction sa {};
        sa.sa_handler = onSignal;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = SA_RESTART;
        ::sigaction(sig, &sa, nullptr);
    }
}

UnixSignalWatcher::~UnixSignalWatcher() = default;
