#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <map>
#include <set>
#include <vector>

// One posted notification: its name, an optional sender and optional details.
struct Notification {
    QString name;
    const void* object = nullptr;
    QVariantMap userInfo;
};

// The in-process notification centre: names map to ordered observer lists. Observers run
// on the main thread in the order they subscribed; a post from another thread is queued to
// the main thread. An observer is dropped when the QObject that owns it is destroyed.
class NotificationCenter : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void(const Notification&)>;

    static NotificationCenter& defaultCenter();

    // Subscribes handler to name. owner ties the subscription's lifetime; it may be null
    // for a subscription that lasts as long as the process.
    void addObserver(QObject* owner, const QString& name, Handler handler);
    // Removes the owner's subscriptions to name, or to every name when name is empty.
    void removeObserver(QObject* owner, const QString& name = QString());
    void post(const QString& name, const void* object = nullptr,
              const QVariantMap& userInfo = QVariantMap());
    int observerCount(const QString& name) const;

private:
    struct Entry {
        quint64 id;
        QObject* owner;
        QPointer<QObject> guard;
        Handler handler;
    };
    void deliver(const Notification& n);

    std::map<QString, std::vector<Entry>> observers_;
    std::set<QObject*> watchedOwners_;
    quint64 nextId_ = 1;
};
