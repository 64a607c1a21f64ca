#include "MonitorPrinter.h"

#include "network/SpeedText.h"

#include <nlohmann/json.hpp>

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
    const auto up = SpeedText::adaptive(r.paceActivities.up);
    const auto down = SpeedText::adaptive(r.paceActivities.down);
    QString line = QStringLiteral("%1  up %2 %3  down %4 %5  total up %6 down %7  %8")
                       .arg(r.time, 8)
                       .arg(up.value, 7)
                       .arg(up.unit)
                       .arg(down.value, 7)
                       .arg(down.unit)
                       .arg(SpeedText::dataVolumeText(r.netActivities.up))
                       .arg(SpeedText::dataVolumeText(r.netActivities.down))
                       .arg(QString::fromLatin1(modeName(r.netMode)));
    if (cpuRate)
        line += cpuRate->isEmpty() || *cpuRate == QLatin1String("--")
                    ? QStringLiteral("  cpu --")
                    : QStringLiteral("  cpu %1%").arg(*cpuRate);
    if (r.ssid)
        line += QStringLiteral("  %1").arg(*r.ssid);
    if (r.IPLocation)
        line += QStringLiteral("  %1").arg(*r.IPLocation);
    return line.toUtf8();
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
