#include "NetDataset.h"

#include "settings/Language.h"

#include <QHash>
#include <QSet>

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

// The application entries' names, lower-cased once for all the processes of a list.
struct NameIndex {
    struct Named {
        QString lowered;
        const NetApp* app;
    };
    std::vector<Named> named;
    const NetApp* store = nullptr; // the first "App Store"

    explicit NameIndex(const std::vector<NetApp>& apps) {
        for (const NetApp& app : apps) {
            if (!app.bundleIdentifier || app.name.isEmpty())
                continue;
            if (!store && app.name == QLatin1String("App Store"))
                store = &app;
            named.push_back({app.name.toLower(), &app});
        }
    }
    std::optional<QString> guess(const NetApp& process) const {
        const QString lowered = process.name.toLower();
        if (store && lowered == QLatin1String("appstoreagent"))
            return store->bundleIdentifier;
        for (const Named& n : named)
            if (lowered.startsWith(n.lowered))
                return n.app->bundleIdentifier;
        return std::nullopt;
    }
};

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
    return NameIndex(apps).guess(process);
}

std::vector<NetApp> NetDataset::cookedApps() const {
    std::vector<NetApp> list;
    for (const NetApp& app : apps)
        if (app.bundleIdentifier)
            list.push_back(app);
    int64_t othersIn = 0;
    int64_t othersOut = 0;
    const NameIndex names(apps);
    QHash<QString, size_t> listed; // the first copy of each bundle identifier
    for (size_t i = 0; i < list.size(); ++i)
        if (!listed.contains(*list[i].bundleIdentifier))
            listed.insert(*list[i].bundleIdentifier, i);
    for (const NetApp& process : apps) {
        if (process.bundleIdentifier)
            continue;
        const std::optional<QString> guess = names.guess(process);
        const auto at = guess ? listed.constFind(*guess) : listed.constEnd();
        if (at != listed.constEnd()) {
            NetApp* owner = &list[*at];
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
    const NameIndex names(apps);
    QSet<QString> seen;
    for (const NetApp& process : apps) {
        if (process.bundleIdentifier || names.guess(process) || seen.contains(process.name))
            continue;
        seen.insert(process.name);
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

namespace {

// Reads a day document in one pass, without building the whole JSON tree first: the
// documents of a week run to megabytes. Levels: 1 the document's array, 2 an hour's object,
// 3 the hour's record array, 4 a record; anything deeper is a value inside a record.
class DayDocumentReader : public nlohmann::json_sax<nlohmann::json> {
public:
    std::vector<std::shared_ptr<NetDataset>> datasets;

    bool null() override { return scalar(); }
    bool boolean(bool) override { return scalar(); }
    bool number_integer(number_integer_t v) override {
        if (depth_ == 4)
            integer(v);
        return scalar();
    }
    bool number_unsigned(number_unsigned_t v) override {
        if (depth_ == 4 && v <= uint64_t(INT64_MAX))
            integer(int64_t(v));
        return scalar();
    }
    bool number_float(number_float_t, const string_t&) override { return scalar(); }
    bool binary(binary_t&) override { return scalar(); }
    bool string(string_t& v) override {
        if (depth_ == 4) {
            if (key_ == "Name")
                name_ = QString::fromStdString(v);
            else if (key_ == "localizedName")
                localizedName_ = QString::fromStdString(v);
            else if (key_ == "BunldeIdentifier")
                bundle_ = QString::fromStdString(v);
        }
        return scalar();
    }
    bool key(string_t& v) override {
        if (depth_ == 2) {
            // The first member of an hour's object names the hour; further members are
            // checked but not read.
            reading_ = members_++ == 0;
            if (reading_)
                datasets.push_back(std::make_shared<NetDataset>(QString::fromStdString(v)));
        } else if (depth_ == 4) {
            key_ = v;
        }
        return true;
    }
    bool start_object(std::size_t) override {
        if (depth_ == 1) {
            members_ = 0;
        } else if (depth_ == 3) {
            startRecord();
        } else if (depth_ < 4) {
            return false; // an hour that is not an object, or records that are not an array
        }
        ++depth_;
        return true;
    }
    bool end_object() override {
        --depth_;
        if (depth_ == 3 && reading_)
            finishRecord();
        return true;
    }
    bool start_array(std::size_t) override {
        if (depth_ == 1 || depth_ == 3)
            return false;
        ++depth_;
        return true;
    }
    bool end_array() override {
        --depth_;
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

private:
    // A value where the level wants a container ends the reading as unreadable.
    bool scalar() { return depth_ >= 4; }
    void integer(int64_t v) {
        if (key_ == "BytesIn")
            bytesIn_ = v;
        else if (key_ == "BytesOut")
            bytesOut_ = v;
    }
    void startRecord() {
        key_.clear();
        name_.reset();
        localizedName_.reset();
        bundle_.reset();
        bytesIn_.reset();
        bytesOut_.reset();
    }
    void finishRecord() {
        if (!name_ || !localizedName_ || !bytesIn_ || !bytesOut_)
            return;
        NetApp app;
        app.name = *name_;
        app.localizedName = *localizedName_;
        app.bundleIdentifier = bundle_;
        app.bytesIn = *bytesIn_;
        app.bytesOut = *bytesOut_;
        datasets.back()->apps.push_back(std::move(app));
    }

    int depth_ = 0;
    int members_ = 0;
    bool reading_ = false;
    std::string key_;
    std::optional<QString> name_, localizedName_, bundle_;
    std::optional<int64_t> bytesIn_, bytesOut_;
};

} // namespace

std::optional<std::vector<std::shared_ptr<NetDataset>>>
NetDataset::readDayDocument(const QByteArray& document) {
    DayDocumentReader reader;
    const char* begin = document.constData();
    if (!nlohmann::json::sax_parse(begin, begin + document.size(), &reader))
        return std::nullopt;
    return std::move(reader.datasets);
}
