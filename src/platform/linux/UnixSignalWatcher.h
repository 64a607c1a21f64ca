#pragma once

#include <QObject>

#include <initializer_list>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the main thread (self-pipe), so the
// exit path runs as ordinary code instead of inside a signal handler.
class UnixSignalWatcher : public QObject {
    Q_OBJECT
public:
    explicit UnixSignalWatcher(std::initializer_list<int> signalNumbers, QObject* parent = nullptr);
    ~UnixSignalWatcher() override;

signals:
    void received(int signalNumber);

private:
    QSocketNotifier* notifier_ = nullptr;
};
