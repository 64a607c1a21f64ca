#include "DBusMenuExporter.h"

#include <QDBusMetaType>
#include <QGuiApplication>

namespace {

void registerTypes() {
    static const bool done = [] {
        qDBusRegisterMetaType<DBusMenuLayoutItem>();
        qDBusRegisterMetaType<DBusMenuItemProperties>();
        qDBusRegisterMetaType<DBusMenuItemPropertiesList>();
        qDBusRegisterMetaType<DBusMenuItemKeys>();
        qDBusRegisterMetaType<DBusMenuItemKeysList>();
        qDBusRegisterMetaType<DBusMenuEvent>();
        qDBusRegisterMetaType<DBusMenuEventList>();
        return true;
    }();
    (void)done;
}

// Every property is always sent, so a host never falls back to a default it guessed.
QVariantMap allProperties(const DBusMenuEntry& e) {
    QVariantMap p;
    p.insert(QStringLiteral("visible"), true);
    if (e.separator) {
        p.insert(QStringLiteral("type"), QStringLiteral("separator"));
        return p;
    }
    p.insert(QStringLiteral("type"), QStringLiteral("standard"));
    // A single underscore marks a mnemonic; ours are plain texts.
    p.insert(QStringLiteral("label"), QString(e.label).replace(u'_', QStringLiteral("__")));
    p.insert(QStringLiteral("enabled"), e.enabled);
    if (e.checkable) {
        p.insert(QStringLiteral("toggle-type"), QStringLiteral("checkmark"));
        p.insert(QStringLiteral("toggle-state"), e.checked ? 1 : 0);
    }
    return p;
}

QVariantMap filtered(const QVariantMap& all, const QStringList& names) {
    if (names.isEmpty())
        return all;
    QVariantMap out;
    for (const QString& n : names) {
        auto it = all.constFind(n);
        if (it != all.constEnd())
            out.insert(n, *it);
    }
    return out;
}

} // namespace

QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuLayoutItem& item) {
    arg.beginStructure();
    arg << item.id << item.properties;
    arg.beginArray(qMetaTypeId<QDBusVariant>());
    for (const DBusMenuLayoutItem& child : item.children)
        arg << QDBusVariant(QVariant::fromValue(child));
    arg.endArray();
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuLayoutItem& item) {
    arg.beginStructure();
    arg >> item.id >> item.properties;
    item.children.clear();
    arg.beginArray();
    while (!arg.atEnd()) {
        QDBusVariant v;
        arg >> v;
        DBusMenuLayoutItem child;
        qvariant_cast<QDBusArgument>(v.variant()) >> child;
        item.children.append(child);
    }
    arg.endArray();
    arg.endStructure();
    return arg;
}

QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuItemProperties& item) {
    arg.beginStructure();
    arg << item.id << item.properties;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuItemProperties& item) {
    arg.beginStructure();
    arg >> item.id >> item.properties;
    arg.endStructure();
    return arg;
}

QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuItemKeys& item) {
    arg.beginStructure();
    arg << item.id << item.names;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuItemKeys& item) {
    arg.beginStructure();
    arg >> item.id >> item.names;
    arg.endStructure();
    return arg;
}

QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuEvent& event) {
    arg.beginStructure();
    arg << event.id << event.eventId << event.data << event.timestamp;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuEvent& event) {
    arg.beginStructure();
    arg >> event.id >> event.eventId >> event.data >> event.timestamp;
    arg.endStructure();
    return arg;
}

DBusMenuExporter::DBusMenuExporter(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), bus_(bus) {
    registerTypes();
    new DBusMenuAdaptor(this);
}

DBusMenuExporter::~DBusMenuExporter() {
    if (published_)
        bus_.unregisterObject(QString::fromLatin1(MenuPath));
}

bool DBusMenuExporter::publish() {
    if (published_)
        return true;
    if (!bus_.isConnected())
        return false;
    published_ =
        bus_.registerObject(QString::fromLatin1(MenuPath), this, QDBusConnection::ExportAdaptors);
    return published_;
}

void DBusMenuExporter::setEntries(const QList<DBusMenuEntry>& entries) {
    if (entries == entries_)
        return;
    bool sameShape = entries.size() == entries_.size();
    DBusMenuItemPropertiesList updated;
    for (qsizetype i = 0; sameShape && i < entries.size(); ++i) {
        sameShape = entries[i].id == entries_[i].id;
        if (sameShape && entries[i] != entries_[i])
            updated.append({entries[i].id, allProperties(entries[i])});
    }
    entries_ = entries;
    ++revision_;
    if (sameShape)
        emit ItemsPropertiesUpdated(updated, {});
    emit LayoutUpdated(revision_, 0);
}

const DBusMenuEntry* DBusMenuExporter::find(int id) const {
    for (const DBusMenuEntry& e : entries_) {
        if (e.id == id)
            return &e;
    }
    return nullptr;
}

std::optional<QVariantMap> DBusMenuExporter::properties(int id, const QStringList& names) const {
    if (id == 0)
        return filtered({{QStringLiteral("children-display"), QStringLiteral("submenu")}}, names);
    const DBusMenuEntry* e = find(id);
    if (!e)
        return std::nullopt;
    return filtered(allProperties(*e), names);
}

std::optional<DBusMenuLayoutItem> DBusMenuExporter::layout(int parentId, int depth,
                                                           const QStringList& names) const {
    auto props = properties(parentId, names);
    if (!props)
        return std::nullopt;
    DBusMenuLayoutItem item{parentId, *props, {}};
    if (parentId == 0 && depth != 0) {
        for (const DBusMenuEntry& e : entries_)
            item.children.append({e.id, filtered(allProperties(e), names), {}});
    }
    return item;
}

bool DBusMenuExporter::event(int id, const QString& eventId) {
    if (id == 0)
        return true;
    const DBusMenuEntry* e = find(id);
    if (!e)
        return false;
    if (eventId == QLatin1String("clicked") && e->enabled && !e->separator)
        emit triggered(id);
    return true;
}

DBusMenuAdaptor::DBusMenuAdaptor(DBusMenuExporter* menu) : QDBusAbstractAdaptor(menu), menu_(menu) {
    setAutoRelaySignals(true);
}

QString DBusMenuAdaptor::textDirection() const {
    return QGuiApplication::layoutDirection() == Qt::RightToLeft ? QStringLiteral("rtl")
                                                                 : QStringLiteral("ltr");
}

void DBusMenuAdaptor::unknownItem(int id) {
    if (calledFromDBus())
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("no menu item %1").arg(id));
}

uint DBusMenuAdaptor::GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames,
                                DBusMenuLayoutItem& layout) {
    if (auto item = menu_->layout(parentId, recursionDepth, propertyNames))
        layout = *item;
    else
        unknownItem(parentId);
    return menu_->revision();
}

DBusMenuItemPropertiesList DBusMenuAdaptor::GetGroupProperties(const QList<int>& ids,
                                                               const QStringList& propertyNames) {
    DBusMenuItemPropertiesList out;
    for (int id : ids) {
        if (auto props = menu_->properties(id, propertyNames))
            out.append({id, *props});
    }
    return out;
}

QDBusVariant DBusMenuAdaptor::GetProperty(int id, const QString& name) {
    const auto props = menu_->properties(id, {name});
    if (!props) {
        unknownItem(id);
        return QDBusVariant(QString());
    }
    if (!props->contains(name)) {
        if (calledFromDBus())
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("menu item %1 has no property %2").arg(id).arg(name));
        return QDBusVariant(QString());
    }
    return QDBusVariant(props->value(name));
}

void DBusMenuAdaptor::Event(int id, const QString& eventId, const QDBusVariant&, uint) {
    if (!menu_->event(id, eventId))
        unknownItem(id);
}

QList<int> DBusMenuAdaptor::EventGroup(const DBusMenuEventList& events) {
    QList<int> idErrors;
    for (const DBusMenuEvent& e : events) {
        if (!menu_->event(e.id, e.eventId))
            idErrors.append(e.id);
    }
    return idErrors;
}

bool DBusMenuAdaptor::AboutToShow(int id) {
    if (!menu_->properties(id))
        unknownItem(id);
    return false; // the layout is always current
}

QList<int> DBusMenuAdaptor::AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors) {
    for (int id : ids) {
        if (!menu_->properties(id))
            idErrors.append(id);
    }
    return {};
}
