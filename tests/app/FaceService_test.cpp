// The faces on the bus as a panel plug-in sees them: a real AppService on a private bus, a
// client connection standing in for the plug-in's process, and a face source the test drives.
#include "app/AppService.h"
#include "app/FaceService.h"
#include "app/WidgetBridger.h"
#include "menubar/FaceSource.h"
#include "menubar/NetMenuBox.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/PrivateBus.h"
#include "support/Wait.h"

#include <QDBusMessage>
#include <QDBusReply>
#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

namespace {

// A bar across the whole face in the label colour, and a text.
class BarFace : public FaceSource {
public:
    double length = 40;
    QString text = QStringLiteral("\u2191 1 KB/s");
    double faceLength() const override { return length; }
    void drawFace(QPainter& p) const override {
        p.fillRect(QRectF(0, 0, length, 22), NetMenuBox::labelColor());
    }
    QString faceText() const override { return text; }
    QString key; // empty: draw to know
    QString faceKey() const override { return key; }
};

struct ChangeLog : QObject {
    Q_OBJECT
public:
    QList<QPair<uint, QVariantMap>> changes;
public slots:
    void changed(uint id, const QVariantMap& map) { changes.append({id, map}); }
};

QDBusMessage call(QDBusConnection& bus, const char* method, const QVariantList& args) {
    QDBusMessage m = QDBusMessage::createMethodCall(
        AppService::kServiceName, AppService::kObjectPath, FaceService::kInterface, method);
    m.setArguments(args);
    return bus.call(m, QDBus::BlockWithGui, 5000); // the service answers from this thread
}

QVariantList request(const QString& item, int height, double scale, uint colour) {
    return {item, height, scale, colour};
}

class FaceServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!bus.isRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
        ASSERT_TRUE(service.registerOn(bus.connection()));
        service.faces()->addSource(QStringLiteral("network"), &source, nullptr);
        host = bus.client(QStringLiteral("host"));
        ASSERT_TRUE(host.connect(AppService::kServiceName, AppService::kObjectPath,
                                 FaceService::kInterface, QStringLiteral("Changed"), &log,
                                 SLOT(changed(uint, QVariantMap))));
    }
    void settle() {
        // Lets a scheduled check run and its signal arrive (or not).
        waitUntil([] { return false; }, 150);
    }

    PrivateBus bus;
    AppService service;
    BarFace source;
    QDBusConnection host{QStringLiteral("unconnected")};
    ChangeLog log;
};

TEST_F(FaceServiceTest, WatchedFacesAreRenderedOnlyWhenAskedAndSentOnlyWhenTheyChange) {
    FaceService& faces = *service.faces();
    faces.sourceChanged(QStringLiteral("network"));
    settle();
    EXPECT_EQ(faces.renders(), 0) << "nobody watches: nothing is drawn";

    const QDBusMessage items = call(host, "Items", {});
    ASSERT_EQ(items.type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(items.arguments().at(0).toStringList(), QStringList{"network"});

    // A 30 px panel gets the natural 22 px face; white ink at pixel ratio 2.
    const QDBusMessage watched = call(host, "Watch", request("network", 30, 2.0, 0xffffffffu));
    ASSERT_EQ(watched.type(), QDBusMessage::ReplyMessage) << watched.errorMessage().toStdString();
    const QVariantList out = watched.arguments();
    ASSERT_EQ(out.size(), 5);
    const uint id = out[0].toUInt();
    EXPECT_EQ(out[1].toInt(), 40);
    EXPECT_EQ(out[2].toInt(), 22);
    const QByteArray pixels = out[3].toByteArray();
    ASSERT_EQ(pixels.size(), 80 * 44 * 4);
    const QImage image(reinterpret_cast<const uchar*>(pixels.constData()), 80, 44,
                       QImage::Format_ARGB32_Premultiplied);
    EXPECT_EQ(image.pixel(40, 22), 0xffffffffu) << "drawn in the host's text colour";
    EXPECT_EQ(out[4].toString(), source.text);

    // The same request from another host shares the watch; a different colour does not.
    EXPECT_EQ(call(host, "Watch", request("network", 30, 2.0, 0xffffffffu)).arguments()[0], id);
    uint dark = 0;
    QString otherName;
    {
        QDBusConnection other = bus.client(QStringLiteral("other"));
        otherName = other.name();
        dark =
            call(other, "Watch", request("network", 30, 2.0, 0xff202020u)).arguments()[0].toUInt();
    }
    EXPECT_NE(dark, id);
    EXPECT_EQ(faces.watchCount(), 2);

    // Unchanged source: checked, nothing sent.
    faces.sourceChanged(QStringLiteral("network"));
    settle();
    EXPECT_TRUE(log.changes.isEmpty());

    // Only the text changed: only the text travels, once per watch however often it is said.
    source.text = QStringLiteral("\u2191 2 KB/s");
    for (int i = 0; i < 3; ++i)
        faces.sourceChanged(QStringLiteral("network"));
    ASSERT_TRUE(waitUntil([&] { return log.changes.size() >= 2; }));
    settle();
    ASSERT_EQ(log.changes.size(), 2);
    for (const auto& [changedId, map] : log.changes)
        EXPECT_EQ(map.keys(), QStringList{"text"}) << changedId;

    // A wider style: the new size and pixels arrive.
    log.changes.clear();
    source.length = 124;
    faces.sourceChanged(QStringLiteral("network"));
    ASSERT_TRUE(waitUntil([&] { return log.changes.size() >= 2; }));
    const QVariantMap& map = log.changes.front().second;
    EXPECT_EQ(map.value("width").toInt(), 124);
    EXPECT_EQ(map.value("height").toInt(), 22);
    EXPECT_EQ(map.value("pixels").toByteArray().size(), 248 * 44 * 4);
    EXPECT_FALSE(map.contains("text"));

    // A host that leaves the bus costs nothing afterwards.
    QDBusConnection::disconnectFromBus(otherName);
    ASSERT_TRUE(waitUntil([&] { return faces.watchCount() == 1; }));
    call(host, "Unwatch", {id});
    EXPECT_EQ(faces.watchCount(), 0);
    const int rendersBefore = faces.renders();
    source.length = 48;
    faces.sourceChanged(QStringLiteral("network"));
    settle();
    EXPECT_EQ(faces.renders(), rendersBefore);
}

TEST_F(FaceServiceTest, OneOffRendersScaleDownForThinPanelsAndRefuseBadRequests) {
    // An 11 px panel: half size, at pixel ratio 3.
    const QDBusMessage thin = call(host, "Render", request("network", 11, 3.0, 0));
    ASSERT_EQ(thin.type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(thin.arguments()[0].toInt(), 20);
    EXPECT_EQ(thin.arguments()[1].toInt(), 11);
    EXPECT_EQ(thin.arguments()[2].toByteArray().size(), 60 * 33 * 4);
    EXPECT_EQ(service.faces()->watchCount(), 0);

    struct Bad {
        QVariantList args;
        const char* error;
    };
    const std::vector<Bad> bad = {
        {request("cpu", 22, 1, 0), FaceService::kUnknownItemError},
        {request("", 22, 1, 0), FaceService::kUnknownItemError},
        {request("network", 7, 1, 0), FaceService::kInvalidArgumentError},
        {request("network", 513, 1, 0), FaceService::kInvalidArgumentError},
        {request("network", 22, 0, 0), FaceService::kInvalidArgumentError},
        {request("network", 22, 8.5, 0), FaceService::kInvalidArgumentError},
        {request("network", 22, std::nan(""), 0), FaceService::kInvalidArgumentError},
    };
    for (const Bad& b : bad) {
        for (const char* method : {"Render", "Watch"}) {
            const QDBusMessage reply = call(host, method, b.args);
            EXPECT_EQ(reply.errorName(), QString::fromLatin1(b.error))
                << method << " " << b.args[0].toString().toStdString() << " " << b.args[1].toInt()
                << " " << b.args[2].toDouble();
        }
    }
    EXPECT_EQ(service.faces()->watchCount(), 0);

    // An item that goes away ends its watches and is no longer listed.
    call(host, "Watch", request("network", 22, 1, 0));
    service.faces()->removeSource(QStringLiteral("network"));
    EXPECT_EQ(service.faces()->watchCount(), 0);
    EXPECT_TRUE(call(host, "Items", {}).arguments()[0].toStringList().isEmpty());
}

TEST_F(FaceServiceTest, AnUnchangedKeySparesTheDrawingButNotTheText) {
    FaceService& faces = *service.faces();
    source.key = QStringLiteral("a");
    const uint id =
        call(host, "Watch", request("network", 22, 1, 0xffffffffu)).arguments()[0].toUInt();
    const int drawn = faces.renders();
    source.length = 60; // not announced by the key: the source says its drawing is the same
    source.text = QStringLiteral("\u2191 9 KB/s");
    faces.sourceChanged(QStringLiteral("network"));
    ASSERT_TRUE(waitUntil([&] { return !log.changes.isEmpty(); }));
    EXPECT_EQ(faces.renders(), drawn);
    EXPECT_EQ(log.changes.front().first, id);
    EXPECT_EQ(log.changes.front().second.keys(), QStringList{"text"});

    log.changes.clear();
    source.key = QStringLiteral("b");
    faces.sourceChanged(QStringLiteral("network"));
    ASSERT_TRUE(waitUntil([&] { return !log.changes.isEmpty(); }));
    EXPECT_EQ(faces.renders(), drawn + 1);
    EXPECT_EQ(log.changes.front().second.value("width").toInt(), 60);
}

TEST(WidgetBridgerTest, WholeReloadsAreThrottledByTheStoredTime) {
    QList<QStringList> sent;
    WidgetBridger::setSink([&](const QStringList& kinds) { sent.append(kinds); });
    double now = 1'000'000;
    WidgetBridger::setClock([&] { return now; });
    SettingsDomain& standard = SettingsDomain::standard();
    standard.remove(SettingsKey::LastReloadWidgetsTime);

    WidgetBridger::reloadAllWidgetsIfNeed(); // first ever
    ASSERT_EQ(sent.size(), 1);
    EXPECT_EQ(sent[0].size(), 5);
    EXPECT_EQ(standard.doubleValue(SettingsKey::LastReloadWidgetsTime), now);
    for (double later : {599.0, 600.0}) {
        now = 1'000'000 + later;
        WidgetBridger::reloadAllWidgetsIfNeed();
    }
    EXPECT_EQ(sent.size(), 1) << "599 and exactly 600 seconds later: nothing";
    now = 1'000'601;
    WidgetBridger::reloadAllWidgetsIfNeed();
    EXPECT_EQ(sent.size(), 2);

    // The clock was set back: nothing until it passes the stored time by 600 s again.
    standard.setDouble(SettingsKey::LastReloadWidgetsTime, now + 5000);
    now = 1'000'700;
    WidgetBridger::reloadAllWidgetsIfNeed();
    EXPECT_EQ(sent.size(), 2);

    WidgetBridger::reloadWiFiInterfaceWidget();
    EXPECT_EQ(sent.back(), QStringList{WidgetBridger::kWiFiInterfaceWidget});
    WidgetBridger::setSink({});
    WidgetBridger::setClock({});
    WidgetBridger::reloadBatteryUsageWidget(); // no sink: nothing happens, nothing breaks
    EXPECT_EQ(sent.size(), 3);
}

} // namespace

#include "FaceService_test.moc"
