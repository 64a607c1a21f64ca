#include "NetDataset.h"

#include "settings/Language.h"

#include <algorithm>

namespace {

void addChecked(int64_t& sum, int64_t value, const QString& name) {
    if (__builtin_add_overflow(sum, value, &sum))
        qFatal("per-app usage: the bytes of %s overflow", qPrintable(name));
}

// Stable sort by total, largest first, then each entry's share of the largest.
void sortAndScale(std::vector<NetApp>& list) {
    std::stable_sort(list.begin(), list.end(), [](const NetApp& a, const NetApp& b) {
        return a.totalBytes() > b.totalBytes();
    });
    int64_t largest = 0;
    for (const NetApp& app : list)
        largest = std::max(largest, app.totalBytes());
    for (NetApp& app : list)
        app.percentage = double(app.totalBytes()) / double(largest);
}

} // namespace

NetDataset::NetDataset(QString date) : date(std::move(date)) {}

std::shared_ptr<NetDataset> NetDataset::copy() const {
    auto other = std::make_shared<NetDataset>(date);
    other->apps = apps;
    return other;
}

void NetDataset::addBytes(const QString& name, int32_t pid, int64_t bytesIn, int64_t bytesOut,
                          const ParentLookup& parentOf) {
    std::optional<size_t> index = appIndex(pid, parentOf);
    if (!index)
        index = processIndex(name, pid);
    if (!index)
        return;
    NetApp& entry = apps[*index];
    addChecked(entry.bytesIn, bytesIn, entry.name);
    addChecked(entry.bytesOut, bytesOut, entry.name);
}

std::optional<size_t> NetDataset::appIndex(int32_t pid, const ParentLookup& parentOf) const {
    const auto find = [this](int32_t id) -> std::optional<size_t> {
        for (size_t i = 0; i < apps.size(); ++i)
            if (apps[i].pid == id && apps[i].bundleIdentifier)
                return i;
        return std::nullopt;
    };
    if (auto index = find(pid))
        return index;
    int32_t current = pid;
    // A cycle in a damaged or racing process table must not hold the walk forever.
    for (int depth = 0; depth < 4096; ++depth) {
        current = parentOf ? parentOf(current) : 0;
        if (current < 2)
            return std::nullopt;
        if (auto index = find(current))
            return index;
    }
    return std::nullopt;
}

std::optional<size_t> NetDataset::processIndex(const QString& name, int32_t pid) {
    const bool known = std::any_of(apps.begin(), apps.end(), [&](const NetApp& app) {
        return app.name == name && app.pid == pid;
    });
    if (!known)
        apps.push_back(NetApp::process(name, pid));
    for (size_t i = 0; i < apps.size(); ++i)
        if (apps[i].pid == pid && !apps[i].bundleIdentifier)
            return i;
    return std::nullopt;
}

void NetDataset::syncRunningApplications(const std::vector<RunningApplication>& applications) {
    for (const RunningApplication& application : applications) {
        if (application.bundleIdentifier.isEmpty())
            continue;
        const auto it = std::find_if(apps.begin(), apps.end(), [&](const NetApp& app) {
            return app.bundleIdentifier == application.bundleIdentifier;
        });
        if (it != apps.end()) {
            it->pid = application.pid;
            continue;
        }
        if (application.localizedName.isEmpty())
            continue;
        apps.push_back(NetApp::fromRunningApplication(application));
    }
}

std::optional<QString> NetDataset::guessBundleIdentifier(const NetApp& process) const {
    const QString lowered = process.name.toLower();
    if (lowered == QLatin1String("appstoreagent")) {
        for (const NetApp& app : apps)
            if (app.bundleIdentifier && app.name == QLatin1String("App Store"))
                return app.bundleIdentifier;
    }
    for (const NetApp& app : apps) {
        if (app.bundleIdentifier && !app.name.isEmpty() && lowered.startsWith(app.name.toLower()))
            return app.bundleIdentifier;
    }
    return std::nullopt;
}

std::vector<NetApp> NetDataset::cookedApps() const {
    std::vector<NetApp> list;
    for (const NetApp& app : apps)
        if (app.bundleIdentifier)
            list.push_back(app);
    int64_t othersIn = 0;
    int64_t othersOut = 0;
    for (const NetApp& process : apps) {
        if (process.bundleIdentifier)
            continue;
        const std::optional<QString> guess = guessBundleIdentifier(process);
        const auto owner =
            !guess ? list.end() : std::find_if(list.begin(), list.end(), [&](const NetApp& a) {
                return a.bundleIdentifier == guess;
            });
        if (owner != list.end()) {
            addChecked(owner->bytesIn, process.bytesIn, owner->name);
            addChecked(owner->bytesOut, process.bytesOut, owner->name);
        } else {
            addChecked(othersIn, process.bytesIn, process.name);
            addChecked(othersOut, process.bytesOut, process.name);
        }
    }
    std::erase_if(list, [](const NetApp& app) { return app.bytesIn == 0 || app.bytesOut == 0; });
    std::stable_sort(list.begin(), list.end(), [](const NetApp& a, const NetApp& b) {
        return a.totalBytes() > b.totalBytes();
    });
    NetApp others;
    others.name = Language::getLocalizedString(QStringLiteral("dataUsage.others"));
    others.localizedName = others.name;
    others.pid = 0;
    others.bytesIn = othersIn;
    others.bytesOut = othersOut;
    if (others.totalBytes() != 0)
        list.push_back(others);
    int64_t largest = 0;
    for (const NetApp& app : list)
        largest = std::max(largest, app.totalBytes());
    for (NetApp& app : list)
        app.percentage = double(app.totalBytes()) / double(largest);
    return list;
}

std::vector<NetApp> NetDataset::otherProcesses() const {
    std::vector<NetApp> list;
    for (const NetApp& process : apps) {
        if (process.bundleIdentifier || guessBundleIdentifier(process))
            continue;
        const bool named = std::any_of(list.begin(), list.end(),
                                       [&](const NetApp& a) { return a.name == process.name; });
        if (!named)
            list.push_back(process);
    }
    std::erase_if(list, [](const NetApp& app) { return app.totalBytes() <= 0; });
    sortAndScale(list);
    return list;
}

QByteArray NetDataset::dayDocument(const std::vector<std::shared_ptr<NetDataset>>& datasets) {
    nlohmann::json document = nlohmann::json::array();
    for (const auto& dataset : datasets) {
        nlohmann::json records = nlohmann::json::array();
        for (const NetApp& app : dataset->apps)
            records.push_back(app.storedForm());
        document.push_back({{dataset->date.toStdString(), std::move(records)}});
    }
    return QByteArray::fromStdString(
        document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

std::vector<std::shared_ptr<NetDataset>> NetDataset::fromDayDocument(const QByteArray& document) {
    return readDayDocument(document).value_or(std::vector<std::shared_ptr<NetDataset>>{});
}

std::optional<std::vector<std::shared_ptr<NetDataset>>>
NetDataset::readDayDocument(const QByteArray& document) {
    const nlohmann::json parsed = nlohmann::json::parse(
        document.constData(), document.constData() + document.size(), nullptr, false);
    if (!parsed.is_array())
        return std::nullopt;
    for (const nlohmann::json& element : parsed) {
        if (!element.is_object())
            return std::nullopt;
        for (const auto& [hour, records] : element.items()) {
            (void)hour;
            if (!records.is_array())
                return std::nullopt;
            for (const nlohmann::json& record : records)
                if (!record.is_object())
                    return std::nullopt;
        }
    }
    std::vector<std::shared_ptr<NetDataset>> datasets;
    for (const nlohmann::json& element : parsed) {
        if (element.empty())
            continue;
        // The first member names the hour (nlohmann keeps members sorted; a record has one).
        const auto first = element.begin();
        auto dataset = std::make_shared<NetDataset>(QString::fromStdString(first.key()));
        for (const nlohmann::json& record : first.value())
            if (auto app = NetApp::fromStored(record))
                dataset->apps.push_back(std::move(*app));
        datasets.push_back(std::move(dataset));
    }
    return datasets;
}
