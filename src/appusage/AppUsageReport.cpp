#include "AppUsageReport.h"

#include "network/DataUsageProvider.h"

#include <QLocale>

#include <algorithm>

namespace {

void add(int64_t& sum, int64_t value) {
    if (__builtin_add_overflow(sum, value, &sum))
        qFatal("per-app usage: the report's totals overflow");
}

nlohmann::json pairJson(const AppUsageReport::Pair& pair) {
    return {{"bytesIn", pair.bytesIn}, {"bytesOut", pair.bytesOut}};
}

std::optional<AppUsageReport::Pair> pairFrom(const nlohmann::json& json) {
    if (!json.is_object() || !json.contains("bytesIn") || !json.contains("bytesOut") ||
        !json["bytesIn"].is_number_integer() || !json["bytesOut"].is_number_integer())
        return std::nullopt;
    return AppUsageReport::Pair{json["bytesIn"].get<int64_t>(), json["bytesOut"].get<int64_t>()};
}

nlohmann::json appJson(const NetApp& app) {
    nlohmann::json json = {
        {"name", app.name.toStdString()}, {"localizedName", app.localizedName.toStdString()},
        {"bytesIn", app.bytesIn},         {"bytesOut", app.bytesOut},
        {"percentage", app.percentage},
    };
    json["bundleIdentifier"] =
        app.bundleIdentifier ? nlohmann::json(app.bundleIdentifier->toStdString()) : nullptr;
    return json;
}

std::optional<NetApp> appFrom(const nlohmann::json& json) {
    if (!json.is_object())
        return std::nullopt;
    const auto pair = pairFrom(json);
    if (!pair || !json.contains("name") || !json["name"].is_string())
        return std::nullopt;
    NetApp app;
    app.name = QString::fromStdString(json["name"].get<std::string>());
    app.localizedName = json.contains("localizedName") && json["localizedName"].is_string()
                            ? QString::fromStdString(json["localizedName"].get<std::string>())
                            : app.name;
    app.bytesIn = pair->bytesIn;
    app.bytesOut = pair->bytesOut;
    if (json.contains("bundleIdentifier") && json["bundleIdentifier"].is_string())
        app.bundleIdentifier = QString::fromStdString(json["bundleIdentifier"].get<std::string>());
    if (json.contains("percentage") && json["percentage"].is_number())
        app.percentage = json["percentage"].get<double>();
    return app;
}

QString row(const QString& label, const QString& received, const QString& sent,
            const QString& total) {
    return QStringLiteral("%1 %2 %3 %4\n")
        .arg(label.left(32), -32)
        .arg(received, 11)
        .arg(sent, 11)
        .arg(total, 11);
}

// Bytes in the binary style of the app's amount texts (base 1024, "KB", a decimal point).
QString amount(int64_t bytes) {
    QString text = QLocale::c().formattedDataSize(bytes, 2, QLocale::DataSizeTraditionalFormat);
    if (text.endsWith(QLatin1String(" kB")))
        text.replace(text.size() - 2, 1, QLatin1Char('K'));
    return text;
}

} // namespace

std::optional<AppUsageReport::Period> AppUsageReport::periodFromName(const QString& name) {
    if (name == QLatin1String("today"))
        return Period::Today;
    if (name == QLatin1String("week"))
        return Period::Week;
    return std::nullopt;
}

QString AppUsageReport::periodName(Period period) {
    return period == Period::Today ? QStringLiteral("today") : QStringLiteral("week");
}

AppUsageReport AppUsageReport::make(Period period, const DataSnapshot& snapshot,
                                    const DataUsageProvider& link) {
    AppUsageReport report;
    report.period = period;
    if (period == Period::Today) {
        report.days = {snapshot.date};
        report.apps = snapshot.apps;
        report.others = snapshot.others;
    } else {
        report.days = snapshot.weekdays;
        report.apps = snapshot.weekApps;
        report.others = snapshot.weekOthers;
    }
    for (const NetApp& app : report.apps) {
        add(report.appsTotal.bytesIn, app.bytesIn);
        add(report.appsTotal.bytesOut, app.bytesOut);
    }
    for (const QString& day : report.days) {
        const auto it = snapshot.data.find(day);
        if (it == snapshot.data.end())
            continue;
        for (const NetDatasetPtr& dataset : it->second.datasets)
            for (const NetApp& app : dataset->apps) {
                add(report.seen.bytesIn, app.bytesIn);
                add(report.seen.bytesOut, app.bytesOut);
            }
    }
    // The link's hour buckets are keyed "yyyy-MM-dd HH" and hold KB.
    for (const DataUsageProvider::Atom& atom : link.dataset()) {
        if (!report.days.contains(atom.timeIdentifier.left(10)))
            continue;
        add(report.link.bytesIn, atom.bytesIn * 1024);
        add(report.link.bytesOut, atom.bytesOut * 1024);
    }
    report.notAttributed = {std::max<int64_t>(0, report.link.bytesIn - report.seen.bytesIn),
                            std::max<int64_t>(0, report.link.bytesOut - report.seen.bytesOut)};
    return report;
}

nlohmann::json AppUsageReport::toJson() const {
    nlohmann::json apps = nlohmann::json::array();
    for (const NetApp& app : this->apps)
        apps.push_back(appJson(app));
    nlohmann::json others = nlohmann::json::array();
    for (const NetApp& app : this->others)
        others.push_back(appJson(app));
    nlohmann::json days = nlohmann::json::array();
    for (const QString& day : this->days)
        days.push_back(day.toStdString());
    return {
        {"period", periodName(period).toStdString()},
        {"days", days},
        {"apps", apps},
        {"others", others},
        {"total", pairJson(appsTotal)},
        {"seen", pairJson(seen)},
        {"link", pairJson(link)},
        {"notAttributed", pairJson(notAttributed)},
    };
}

std::optional<AppUsageReport> AppUsageReport::fromJson(const nlohmann::json& json) {
    if (!json.is_object() || !json.contains("period") || !json["period"].is_string())
        return std::nullopt;
    const auto period = periodFromName(QString::fromStdString(json["period"].get<std::string>()));
    if (!period)
        return std::nullopt;
    AppUsageReport report;
    report.period = *period;
    for (const char* list : {"apps", "others", "days"})
        if (!json.contains(list) || !json[list].is_array())
            return std::nullopt;
    for (const auto& day : json["days"])
        if (day.is_string())
            report.days << QString::fromStdString(day.get<std::string>());
    for (const auto& [key, target] :
         {std::pair{"apps", &report.apps}, std::pair{"others", &report.others}})
        for (const auto& item : json[key]) {
            auto app = appFrom(item);
            if (!app)
                return std::nullopt;
            target->push_back(std::move(*app));
        }
    for (const auto& [key, target] :
         {std::pair{"total", &report.appsTotal}, std::pair{"seen", &report.seen},
          std::pair{"link", &report.link}, std::pair{"notAttributed", &report.notAttributed}}) {
        const auto pair = json.contains(key) ? pairFrom(json[key]) : std::nullopt;
        if (!pair)
            return std::nullopt;
        *target = *pair;
    }
    return report;
}

QString AppUsageReport::text() const {
    QString out = period == Period::Today
                      ? QStringLiteral("App data usage today (%1)\n").arg(days.value(0))
                      : QStringLiteral("App data usage this week (%1 to %2)\n")
                            .arg(days.value(0), days.value(days.size() - 1));
    const auto total = [](int64_t in, int64_t out) { return amount(in + out); };
    out += row(QStringLiteral("application"), QStringLiteral("received"), QStringLiteral("sent"),
               QStringLiteral("total"));
    if (apps.empty())
        out += QStringLiteral("(no application moved data both ways)\n");
    for (const NetApp& app : apps)
        out += row(app.localizedName, amount(app.bytesIn), amount(app.bytesOut),
                   total(app.bytesIn, app.bytesOut));
    out += row(QStringLiteral("total"), amount(appsTotal.bytesIn), amount(appsTotal.bytesOut),
               total(appsTotal.bytesIn, appsTotal.bytesOut));
    if (!others.empty()) {
        out += QStringLiteral("\nprocesses not attributed to an application\n");
        for (const NetApp& app : others)
            out += row(app.localizedName, amount(app.bytesIn), amount(app.bytesOut),
                       total(app.bytesIn, app.bytesOut));
    }
    out += QLatin1Char('\n');
    out += row(QStringLiteral("link (all traffic)"), amount(link.bytesIn), amount(link.bytesOut),
               total(link.bytesIn, link.bytesOut));
    out +=
        row(QStringLiteral("not attributed"), amount(notAttributed.bytesIn),
            amount(notAttributed.bytesOut), total(notAttributed.bytesIn, notAttributed.bytesOut));
    return out;
}
