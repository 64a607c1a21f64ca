#include "NetAppProvider.h"

#include "appusage/NetAppDatabase.h"
#include "appusage/NettopScriptRunner.h"
#include "platform/linux/LinuxProcessTable.h"
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QLocale>

#include <limits>

namespace {

std::function<void()>& sharedWidgetReload() {
    static std::function<void()> reload;
    return reload;
}

// The desktop's locale names for the interface language, most specific first.
QStringList desktopLanguages() {
    QString table = Language::rawValue(Language::shared().appLaunchLanguage());
    if (table.isEmpty())
        table = Language::bestTableLanguage(QLocale::system().uiLanguages());
    if (table == QLatin1String("zh-Hans"))
        return {QStringLiteral("zh_CN"), QStringLiteral("zh_SG"), QStringLiteral("zh")};
    if (table == QLatin1String("zh-Hant"))
        return {QStringLiteral("zh_TW"), QStringLiteral("zh_HK"), QStringLiteral("zh")};
    if (table == QLatin1String("en"))
        return {};
    const QString system = QLocale::system().name();
    QStringList names;
    if (system.startsWith(table + QLatin1Char('_')))
        names << system;
    names << table;
    return names;
}

} // namespace

NetAppProvider::Environment NetAppProvider::Environment::system() {
    Environment environment;
    LinuxProcessTable::Options options;
    options.languages = desktopLanguages();
    environment.processes = std::make_shared<LinuxProcessTable>(std::move(options));
    environment.database = &NetAppDatabase::shared();
    environment.runner = &NettopScriptRunner::shared();
    environment.standard = &SettingsDomain::standard();
    environment.group = &SettingsDomain::group();
    environment.reloadWidget = [] {
        if (sharedWidgetReload())
            sharedWidgetReload()();
    };
    return environment;
}

NetAppProvider& NetAppProvider::shared() {
    static NetAppProvider* provider = [] {
        auto* p = new NetAppProvider(Environment::system());
        p->publishWidgetData();
        return p;
    }();
    return *provider;
}

void NetAppProvider::setSharedWidgetReload(std::function<void()> reload) {
    sharedWidgetReload() = std::move(reload);
}

NetAppProvider::NetAppProvider(Environment environment) : environment_(std::move(environment)) {
    const QDateTime moment = now();
    date_ = moment.toString(QStringLiteral("yyyy-MM-dd"));
    lastStoreTime_ = double(moment.toMSecsSinceEpoch()) / 1000.0;
    if (environment_.database) {
        const auto stored = environment_.database->loadDays({date_});
        const auto it = stored.find(date_);
        if (it != stored.end())
            datasets_ = NetDataset::fromDayDocument(it->second.toUtf8());
    }
}

NetAppProvider::~NetAppProvider() {
    *alive_ = false;
}

QDateTime NetAppProvider::now() const {
    return environment_.now ? environment_.now() : QDateTime::currentDateTime();
}

bool NetAppProvider::trackingRuns() const {
    if (environment_.isTracking)
        return environment_.isTracking();
    return environment_.runner && environment_.runner->isRunning();
}

void NetAppProvider::startTrackingIfNeed() {
    if (!environment_.standard ||
        !environment_.standard->boolValue(SettingsKey::WantsAppDataUsageTracking))
        return;
    startTracking();
    publishWidgetData();
}

void NetAppProvider::startTracking() {
    startSequence({});
}

void NetAppProvider::startTrackingWithTaskLaunchedHandler(std::function<void()> launched) {
    startSequence(std::move(launched));
}

void NetAppProvider::startSequence(std::function<void()> launched) {
    // The running applications are looked at now and again with every chunk of output.
    observing_ = true;
    lastApplications_.clear();
    refreshRunningApplications();
    wantsData_ = false;
    if (!environment_.runner)
        return;
    environment_.runner->taskLaunchedHandler = std::move(launched);
    std::weak_ptr<bool> alive = alive_;
    environment_.runner->runScript([this, alive](const QString& chunk) {
        if (alive.lock())
            receiveOutput(chunk);
    });
}

void NetAppProvider::stopTracking() {
    if (environment_.standard)
        environment_.standard->setBool(SettingsKey::WantsAppDataUsageTracking, false);
    pauseTracking();
}

void NetAppProvider::pauseTracking() {
    lastStoreTime_ = double(now().toMSecsSinceEpoch()) / 1000.0;
    storeAppTrackingData();
    observing_ = false;
    if (environment_.runner && environment_.runner->isRunning()) {
        environment_.runner->terminate();
        environment_.runner->clearTask();
    }
}

void NetAppProvider::storeAppDataUsageIfNeedWithForce(bool force) {
    const double seconds = double(now().toMSecsSinceEpoch()) / 1000.0;
    if (seconds - lastStoreTime_ > kStoreInterval || force) {
        lastStoreTime_ = seconds;
        storeAppTrackingData();
    }
}

void NetAppProvider::storeAppTrackingDataIfCan() {
    storeAppTrackingData();
}

void NetAppProvider::storeAppTrackingData() {
    if (!trackingRuns())
        return;
    const QByteArray document = NetDataset::dayDocument(datasets_);
    if (environment_.database)
        environment_.database->insertDay(date_, QString::fromUtf8(document));
    publishWidgetData();
}

void NetAppProvider::publishWidgetData() {
    if (environment_.group) {
        const QByteArray document = NetDataset::dayDocument(datasets_);
        const QString updateTime = now().toString(QStringLiteral("HH:mm"));
        environment_.group->setValue(kWidgetDataKey, nlohmann::json{
                                                         {"date", date_.toStdString()},
                                                         {"updateTime", updateTime.toStdString()},
                                                         {"json", document.toStdString()},
                                                     });
    }
    if (environment_.reloadWidget)
        environment_.reloadWidget();
}

void NetAppProvider::receiveOutput(const QString& chunk) {
    if (!wantsData_) {
        // The first chunk after a start carries totals since the tool's own start.
        wantsData_ = true;
        return;
    }
    if (observing_)
        refreshRunningApplications();
    handleOutput(chunk);
}

void NetAppProvider::handleOutput(const QString& chunk) {
    const QStringList lines = chunk.split(QLatin1Char('\n'));
    if (lines.isEmpty())
        return;
    const NetDatasetPtr dataset = currentDataset();
    ProcessSource* processes = environment_.processes.get();
    const NetDataset::ParentLookup parentOf = [processes](int32_t pid) {
        return processes ? processes->parentProcessIdentifier(pid) : 0;
    };
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QStringList fields = lines[i].split(QLatin1Char(','));
        if (fields.size() < 4)
            continue;
        bool ok = false;
        qint64 bytesIn = fields[2].toLongLong(&ok);
        if (!ok)
            bytesIn = 0;
        qint64 bytesOut = fields[3].toLongLong(&ok);
        if (!ok)
            bytesOut = 0;
        const QStringList pieces = fields[1].split(QLatin1Char('.'));
        const int pid = pieces.last().toInt(&ok);
        if (!ok)
            continue;
        dataset->addBytes(pieces.first(), pid, bytesIn, bytesOut, parentOf);
    }
}

NetDatasetPtr NetAppProvider::currentDataset() {
    const QDateTime moment = now();
    const QString day = moment.toString(QStringLiteral("yyyy-MM-dd"));
    if (day != date_) {
        lastStoreTime_ = double(moment.toMSecsSinceEpoch()) / 1000.0;
        storeAppTrackingData();
        date_ = day;
        datasets_.clear();
    }
    const QString hour = moment.toString(QStringLiteral("yyyy-MM-dd HH"));
    for (const NetDatasetPtr& dataset : datasets_)
        if (dataset->date == hour)
            return dataset;
    auto dataset = std::make_shared<NetDataset>(hour);
    if (environment_.processes)
        dataset->syncRunningApplications(lastApplications_.empty()
                                             ? environment_.processes->runningApplications()
                                             : lastApplications_);
    datasets_.push_back(dataset);
    return dataset;
}

void NetAppProvider::refreshRunningApplications() {
    if (!environment_.processes)
        return;
    std::vector<RunningApplication> applications = environment_.processes->runningApplications();
    const bool changed = applications != lastApplications_ || lastApplications_.empty();
    lastApplications_ = std::move(applications);
    if (changed)
        currentDataset()->syncRunningApplications(lastApplications_);
}

std::vector<NetDatasetPtr> NetAppProvider::copyDatasets() const {
    std::vector<NetDatasetPtr> copies;
    copies.reserve(datasets_.size());
    for (const NetDatasetPtr& dataset : datasets_)
        copies.push_back(dataset->copy());
    return copies;
}

QString NetAppProvider::iconName(const QString& bundleIdentifier) const {
    return environment_.processes ? environment_.processes->iconName(bundleIdentifier) : QString();
}
