#include "NetApp.h"

#include "platform/ProcessSources.h"

#include <QtGlobal>

int64_t NetApp::totalBytes() const {
    int64_t total = 0;
    if (__builtin_add_overflow(bytesIn, bytesOut, &total))
        qFatal("per-app usage: the bytes of %s overflow", qPrintable(name));
    return total;
}

NetApp NetApp::fromRunningApplication(const RunningApplication& application) {
    NetApp app;
    app.bundleIdentifier = application.bundleIdentifier;
    app.name =
        application.displayName.isEmpty() ? application.localizedName : application.displayName;
    app.localizedName = application.localizedName;
    app.pid = application.pid;
    return app;
}

NetApp NetApp::process(const QString& name, int32_t pid) {
    NetApp app;
    app.name = name;
    app.localizedName = name;
    app.pid = pid;
    return app;
}

std::optional<NetApp> NetApp::fromStored(const nlohmann::json& record) {
    if (!record.is_object())
        return std::nullopt;
    const auto name = record.find("Name");
    const auto localizedName = record.find("localizedName");
    const auto bytesIn = record.find("BytesIn");
    const auto bytesOut = record.find("BytesOut");
    if (name == record.end() || !name->is_string() || localizedName == record.end() ||
        !localizedName->is_string())
        return std::nullopt;
    // A 64-bit integer: a signed one, or an unsigned one that fits.
    const auto integer = [](const nlohmann::json& v) -> std::optional<int64_t> {
        if (v.is_number_integer() && !v.is_number_unsigned())
            return v.get<int64_t>();
        if (v.is_number_unsigned() && v.get<uint64_t>() <= uint64_t(INT64_MAX))
            return int64_t(v.get<uint64_t>());
        return std::nullopt;
    };
    if (bytesIn == record.end() || bytesOut == record.end())
        return std::nullopt;
    const auto in = integer(*bytesIn);
    const auto out = integer(*bytesOut);
    if (!in || !out)
        return std::nullopt;
    NetApp app;
    app.name = QString::fromStdString(name->get<std::string>());
    app.localizedName = QString::fromStdString(localizedName->get<std::string>());
    app.bytesIn = *in;
    app.bytesOut = *out;
    const auto bundle = record.find("BunldeIdentifier");
    if (bundle != record.end() && bundle->is_string())
        app.bundleIdentifier = QString::fromStdString(bundle->get<std::string>());
    return app;
}

nlohmann::json NetApp::storedForm() const {
    nlohmann::json record = {
        {"Name", name.toStdString()},
        {"localizedName", localizedName.toStdString()},
        {"ProcessIdentifier", pid.value_or(-1)},
        {"BytesIn", bytesIn},
        {"BytesOut", bytesOut},
    };
    if (bundleIdentifier)
        record["BunldeIdentifier"] = bundleIdentifier->toStdString();
    return record;
}
