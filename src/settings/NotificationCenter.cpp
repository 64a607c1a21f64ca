#include "NotificationCenter.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>

NotificationCenter& NotificationCenter::defaultCenter() {
    static NotificationCenter* center = [] {
        auto* c = new NotificationCenter;
        if (QCoreApplication* app = QCoreApplication::instance())
            c->moveToThread(app->thread());
        return c;
    }();
    return *center;
}

void NotificationCenter::addObserver(QObject* owner, const QString& name, Handler handler) {
    observers_[name].push_back(
        Entry{nextId_++, owner, QPointer<QObject>(owner), std::move(handler)});
    if (owner && watchedOwners_.insert(owner).second) {
        connect(owner, &QObject::destroyed, this, [this, owner] {
            watchedOwners_.erase(owner);
            removeObserver(owner);
        });
    }
}

void NotificationCenter::removeObserver(QObject* owner, const QString& name) {
    auto dropFrom = [owner](std::vector<Entry>& list) {
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [owner](const Entry& e) { return e.owner == owner; }),
                   list.end());
    };
    if (name.isEmpty()) {
        for (auto& [key, list] : observers_)
            dropFrom(list);
    } else if (auto it = observers_.find(name); it != observers_.end()) {
        dropFrom(it->second);
    }
}

int NotificationCenter::observerCount(const QString& name) const {
    auto it = observers_.find(name);
    return it == observers_.end() ? 0 : static_cast<int>(it->second.size());
}

void NotificationCenter::post(const QString& name, const void* object,
                              const QVariantMap& userInfo) {
    Notification n{name, object, userInfo};
    QCoreApplication* app = QCoreApplication::instance();
    if (app && QThread::currentThread() != app->thread()) {
        QMetaObject::invokeMethod(
            app, [this, n] { deliver(n); }, Qt::QueuedConnection);
        return;
    }
    deliver(n);
}

void NotificationCenter::deliver(const Notification& n) {
    auto it = observers_.find(n.name);
    if (it == observers_.end())
        return;
    // Walk a copy of the ids so that handlers may subscribe or unsubscribe while we post.
    std::vector<quint64> ids;
    for (const Entry& e : it->second)
        ids.push_back(e.id);
    for (quint64 id : ids) {
        auto& list = observers_[n.name];
        auto e =
            std::find_if(list.begin(), list.end(), [id](const Entry& x) { return x.id == id; });
        if (e == list.end())
            continue;
        if (e->owner && !e->guard)
            continue;
        Handler h = e->handler;
        h(n);
    }
}
