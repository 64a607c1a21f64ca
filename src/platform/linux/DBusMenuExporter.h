#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// One entry of a flat menu.
struct DBusMenuEntry {
    int id = 0; // > 0, unique in the menu
    QString label;
    bool enabled = true;
    bool separator = false;
    bool checkable = false; // a check mark that shows `checked`
    bool checked = false;
    friend bool operator==(const DBusMenuEntry&, const DBusMenuEntry&) = default;
};

// The wire types of com.canonical.dbusmenu.
struct DBusMenuLayoutItem { // (ia{sv}av), children as variants of the same type
    int id = 0;
    QVariantMap properties;
    QList<DBusMenuLayoutItem> children;
};
struct DBusMenuItemProperties { // (ia{sv})
    int id = 0;
    QVariantMap properties;
};
struct DBusMenuItemKeys { // (ias)
    int id = 0;
    QStringList names;
};
struct DBusMenuEvent { // (isvu)
    int id = 0;
    QString eventId;
    QDBusVariant data;
    uint timestamp = 0;
};
using DBusMenuItemPropertiesList = QList<DBusMenuItemProperties>;
using DBusMenuItemKeysList = QList<DBusMenuItemKeys>;
using DBusMenuEventList = QList<DBusMenuEvent>;

Q_DECLARE_METATYPE(DBusMenuLayoutItem)
Q_DECLARE_METATYPE(DBusMenuItemProperties)
Q_DECLARE_METATYPE(DBusMenuItemPropertiesList)
Q_DECLARE_METATYPE(DBusMenuItemKeys)
Q_DECLARE_METATYPE(DBusMenuItemKeysList)
Q_DECLARE_METATYPE(DBusMenuEvent)
Q_DECLARE_METATYPE(DBusMenuEventList)

QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuLayoutItem& item);
const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuLayoutItem& item);
QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuItemProperties& item);
const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuItemProperties& item);
QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuItemKeys& item);
const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuItemKeys& item);
QDBusArgument& operator<<(QDBusArgument& arg, const DBusMenuEvent& event);
const QDBusArgument& operator>>(const QDBusArgument& arg, DBusMenuEvent& event);

// A flat menu served as com.canonical.dbusmenu at MenuPath on a session bus, the menu a
// StatusNotifierItem names in its Menu property. Entries hang below the root item 0. A
// "clicked" event on an enabled entry emits triggered(id). Changing entries bumps the layout
// revision and sends LayoutUpdated, with ItemsPropertiesUpdated for entries that only changed
// their properties.
class DBusMenuExporter : public QObject {
    Q_OBJECT
public:
    static constexpr const char* MenuPath = "/MenuBar";

    explicit DBusMenuExporter(const QDBusConnection& bus, QObject* parent = nullptr);
    ~DBusMenuExporter() override;

    // Exports the object. False when the bus is unusable or the path is taken.
    bool publish();
    bool isPublished() const { return published_; }

    const QList<DBusMenuEntry>& entries() const { return entries_; }
    void setEntries(const QList<DBusMenuEntry>& entries);
    uint revision() const { return revision_; }

    // The properties of item id (0: the root) as the protocol names them, all of them when
    // names is empty. Absent for an unknown id.
    std::optional<QVariantMap> properties(int id, const QStringList& names = {}) const;
    // The tree below parentId down to depth levels (-1: all). Absent for an unknown id.
    std::optional<DBusMenuLayoutItem> layout(int parentId, int depth,
                                             const QStringList& names) const;
    // An event from the host; false for an unknown id.
    bool event(int id, const QString& eventId);

signals:
    void triggered(int id);
    // Re-emitted on the bus by the adaptor.
    void ItemsPropertiesUpdated(const DBusMenuItemPropertiesList& updated,
                                const DBusMenuItemKeysList& removed);
    void LayoutUpdated(uint revision, int parent);
    void ItemActivationRequested(int id, uint timestamp);

private:
    const DBusMenuEntry* find(int id) const;

    QDBusConnection bus_;
    QList<DBusMenuEntry> entries_;
    uint revision_ = 1;
    bool published_ = false;
};

// The D-Bus face of DBusMenuExporter.
class DBusMenuAdaptor : public QDBusAbstractAdaptor, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath)
public:
    explicit DBusMenuAdaptor(DBusMenuExporter* menu);

    uint version() const { return 3; }
    QString textDirection() const;
    QString status() const { return QStringLiteral("normal"); }
    QStringList iconThemePath() const { return {}; }

public slots:
    uint GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames,
                   DBusMenuLayoutItem& layout);
    DBusMenuItemPropertiesList GetGroupProperties(const QList<int>& ids,
                                                  const QStringList& propertyNames);
    QDBusVariant GetProperty(int id, const QString& name);
    void Event(int id, const QString& eventId, const QDBusVariant& data, uint timestamp);
    QList<int> EventGroup(const DBusMenuEventList& events);
    bool AboutToShow(int id);
    QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors);

signals:
    void ItemsPropertiesUpdated(const DBusMenuItemPropertiesList& updated,
                                const DBusMenuItemKeysList& removed);
    void LayoutUpdated(uint revision, int parent);
    void ItemActivationRequested(int id, uint timestamp);

private:
    void unknownItem(int id);

    DBusMenuExporter* menu_;
};
