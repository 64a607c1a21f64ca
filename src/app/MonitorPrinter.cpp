#include "MonitorPrinter.h"

#include "network/SpeedText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace {

nlohmann::json pair(const NetActivities& a) {
    return {{"up", a.up}, {"down", a.down}};
}

nlohmann::json optionalText(const std::optional<QString>& s) {
    return s ? nlohmann::json(s->toStdString()) : nlohmann::json(nullptr);
}

const char* modeName(int mode) {
    switch (mode) {
    case 1:
        return "Wi-Fi/LAN";
    case 2:
        return "WWAN";
    default:
        return "offline";
    }
}

} // namespace

MonitorPrinter::MonitorPrinter(bool json, long maxTicks, std::FILE* out, QObject* parent)
    : QObject(parent), json_(json), maxTicks_(maxTicks), out_(out) {}

QByteArray MonitorPrinter::textLine(const ActivityObject& r,
                                    const std::optional<QString>& cpuRate) {
    // Every value is text already, so one formatted print of strings is all a line takes
    // (%s never depends on the locale).
    const auto up = SpeedText::adaptive(r.paceActivities.up);
    const auto down = SpeedText::adaptive(r.paceActivities.down);
    char buf[512];
    const int n = std::snprintf(
        buf, sizeof buf, "%8s  up %7s %s  down %7s %s  total up %s down %s  %s",
        r.time.toUtf8().constData(), up.value.toUtf8().constData(), up.unit.toUtf8().constData(),
        down.value.toUtf8().constData(), down.unit.toUtf8().constData(),
        SpeedText::dataVolumeText(r.netActivities.up).toUtf8().constData(),
        SpeedText::dataVolumeText(r.netActivities.down).toUtf8().constData(), modeName(r.netMode));
    QByteArray line(buf, n < 0 ? 0 : std::min(n, static_cast<int>(sizeof buf) - 1));
    if (cpuRate) {
        line += "  cpu ";
        line += cpuRate->isEmpty() || *cpuRate == QLatin1String("--") ? QByteArray("--")
                                                                      : cpuRate->toUtf8() + '%';
    }
    if (r.ssid)
        line += "  " + r.ssid->toUtf8();
    if (r.IPLocation)
        line += "  " + r.IPLocation->toUtf8();
    return line;
}

QByteArray MonitorPrinter::jsonLine(const ActivityObject& r,
                                    const std::optional<QString>& cpuRate) {
    nlohmann::json j = {
        {"time", r.time.toStdString()},
        {"netMode", r.netMode},
        {"ssid", optionalText(r.ssid)},
        {"IPLocation", optionalText(r.IPLocation)},
        {"macLocation", optionalText(r.macLocation)},
        {"security", optionalText(r.security)},
        {"channel", optionalText(r.channel)},
        {"strengthValue", r.strengthValue},
        {"strength", optionalText(r.strength)},
        {"transmitRate", optionalText(r.transmitRate)},
        {"paceActivities", pair(r.paceActivities)},
        {"netActivities", pair(r.netActivities)},
        {"seesionMaxActivities", pair(r.seesionMaxActivities)},
    };
    if (cpuRate)
        j["cpuRate"] =
            cpuRate->isEmpty() ? nlohmann::json(nullptr) : nlohmann::json(cpuRate->toStdString());
    return QByteArray::fromStdString(
        j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void MonitorPrinter::networkActivityDidUpdate(const ActivityRecord& record) {
    if (maxTicks_ > 0 && ticks_ >= maxTicks_)
        return;
    std::optional<QString> cpuRate;
    if (cpuRateSource_)
        cpuRate = cpuRateSource_();
    const QByteArray line = json_ ? jsonLine(*record, cpuRate) : textLine(*record, cpuRate);
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), out_);
    std::fputc('\n', out_);
    std::fflush(out_);
    ++ticks_;
    if (maxTicks_ > 0 && ticks_ >= maxTicks_)
        emit finished();
}
