#include "MonitorPrinter.h"

#include "network/SpeedText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <unistd.h>

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

QString speed(uint64_t kb) {
    const auto text = SpeedText::adaptive(kb);
    return text.value + QLatin1Char(' ') + text.unit;
}

QString cpuText(const std::optional<QString>& cpuRate) {
    if (!cpuRate || cpuRate->isEmpty() || *cpuRate == QLatin1String("--"))
        return QStringLiteral("--");
    return *cpuRate + QLatin1Char('%');
}

// The value of one placeholder; absent for a name that is none.
std::optional<QString> placeholder(QStringView name, const ActivityObject& r,
                                   const std::optional<QString>& cpuRate) {
    if (name == u"up")
        return speed(r.paceActivities.up);
    if (name == u"down")
        return speed(r.paceActivities.down);
    if (name == u"total")
        return speed(r.paceActivities.up + r.paceActivities.down);
    if (name == u"up_total")
        return SpeedText::dataVolumeText(r.netActivities.up);
    if (name == u"down_total")
        return SpeedText::dataVolumeText(r.netActivities.down);
    if (name == u"cpu")
        return cpuText(cpuRate);
    if (name == u"ssid")
        return r.ssid.value_or(QString());
    if (name == u"ip")
        return r.IPLocation.value_or(QString());
    if (name == u"mode")
        return QString::fromLatin1(modeName(r.netMode));
    if (name == u"time")
        return r.time;
    return std::nullopt;
}

// Expands format; error (when given) receives why it cannot be expanded.
QString expand(const QString& format, const ActivityObject& r,
               const std::optional<QString>& cpuRate, QString* error) {
    QString out;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format[i];
        if (c == QLatin1Char('{') && i + 1 < format.size() && format[i + 1] == QLatin1Char('{')) {
            out += c;
            ++i;
            continue;
        }
        if (c == QLatin1Char('}') && i + 1 < format.size() && format[i + 1] == QLatin1Char('}')) {
            out += c;
            ++i;
            continue;
        }
        if (c != QLatin1Char('{')) {
            out += c;
            continue;
        }
        const qsizetype end = format.indexOf(QLatin1Char('}'), i + 1);
        if (end < 0) {
            if (error)
                *error = QStringLiteral("a \"{\" without its \"}\" (write \"{{\" for a brace)");
            return out;
        }
        const QStringView name = QStringView(format).mid(i + 1, end - i - 1);
        const std::optional<QString> value = placeholder(name, r, cpuRate);
        if (!value) {
            if (error)
                *error = QStringLiteral("unknown placeholder {%1} (known: {up} {down} {total} "
                                        "{up_total} {down_total} {cpu} {ssid} {ip} {mode} {time})")
                             .arg(name);
            return out;
        }
        out += *value;
        i = end;
    }
    return out;
}

} // namespace

MonitorPrinter::MonitorPrinter(MonitorOptions options, std::FILE* out, QObject* parent)
    : QObject(parent), options_(std::move(options)), maxTicks_(options_.ticks), out_(out) {}

QString MonitorPrinter::formatError(const QString& format) {
    QString error;
    expand(format, ActivityObject(), std::nullopt, &error);
    return error;
}

QByteArray MonitorPrinter::templateLine(const ActivityObject& record,
                                        const std::optional<QString>& cpuRate,
                                        const QString& format) {
    return expand(format, record, cpuRate, nullptr).toUtf8();
}

QByteArray MonitorPrinter::waybarLine(const ActivityObject& r,
                                      const std::optional<QString>& cpuRate,
                                      const QString& format) {
    const QString text = format.isEmpty()
                             ? QStringLiteral("\u2191 %1  \u2193 %2")
                                   .arg(speed(r.paceActivities.up), speed(r.paceActivities.down))
                             : expand(format, r, cpuRate, nullptr);
    QString tooltip = QString::fromLatin1(modeName(r.netMode));
    if (r.ssid && !r.ssid->isEmpty())
        tooltip += QStringLiteral(": ") + *r.ssid;
    if (r.IPLocation)
        tooltip += QStringLiteral(" (") + *r.IPLocation + QLatin1Char(')');
    tooltip += QStringLiteral("\nUp %1, down %2\nTotal up %3, down %4")
                   .arg(speed(r.paceActivities.up), speed(r.paceActivities.down),
                        SpeedText::dataVolumeText(r.netActivities.up),
                        SpeedText::dataVolumeText(r.netActivities.down));
    if (cpuRate)
        tooltip += QStringLiteral("\nCPU ") + cpuText(cpuRate);
    const char* cls = r.netMode == 1 ? "local" : r.netMode == 2 ? "wwan" : "offline";
    const nlohmann::json j = {
        {"text", text.toStdString()}, {"tooltip", tooltip.toStdString()}, {"class", cls}};
    return QByteArray::fromStdString(
        j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

QByteArray MonitorPrinter::line(const ActivityObject& record, const std::optional<QString>& cpuRate,
                                const MonitorOptions& options) {
    if (options.waybar)
        return waybarLine(record, cpuRate, options.format);
    if (!options.format.isEmpty())
        return templateLine(record, cpuRate, options.format);
    return options.json ? jsonLine(record, cpuRate) : textLine(record, cpuRate);
}

// The pieces of the text line, each formatted again only when its value changed: at idle a
// tick formats nothing but the session time, and the line is put together in one buffer.
struct MonitorPrinter::TextPieces {
    struct Number {
        std::optional<uint64_t> key;
        std::string text;
    };
    struct Text {
        std::optional<QString> key;
        std::string text;
    };

    Number up, down, upTotal, downTotal;
    Text cpu, ssid, ip;
    std::string line;

    static void speed(Number& piece, uint64_t kb) {
        if (piece.key == kb)
            return;
        const auto text = SpeedText::adaptive(kb);
        char buf[64];
        const int n = std::snprintf(buf, sizeof buf, "%7s %s", text.value.toUtf8().constData(),
                                    text.unit.toUtf8().constData());
        piece.text.assign(buf, n < 0 ? 0 : std::min<size_t>(n, sizeof buf - 1));
        piece.key = kb;
    }
    static void volume(Number& piece, uint64_t kb) {
        if (piece.key == kb)
            return;
        piece.text = SpeedText::dataVolumeText(kb).toStdString();
        piece.key = kb;
    }
    // Returns false when there is no value to show.
    static bool text(Text& piece, const std::optional<QString>& value,
                     const std::function<std::string(const QString&)>& convert) {
        if (!value)
            return false;
        if (piece.key != value) {
            piece.text = convert(*value);
            piece.key = value;
        }
        return true;
    }

    const std::string& build(const ActivityObject& r, const std::optional<QString>& cpuRate) {
        speed(up, r.paceActivities.up);
        speed(down, r.paceActivities.down);
        volume(upTotal, r.netActivities.up);
        volume(downTotal, r.netActivities.down);
        const QByteArray time = r.time.toUtf8();
        line.clear();
        if (time.size() < 8)
            line.append(static_cast<size_t>(8 - time.size()), ' ');
        line.append(time.constData(), static_cast<size_t>(time.size()));
        line += "  up ";
        line += up.text;
        line += "  down ";
        line += down.text;
        line += "  total up ";
        line += upTotal.text;
        line += " down ";
        line += downTotal.text;
        line += "  ";
        line += modeName(r.netMode);
        const auto plain = [](const QString& s) { return s.toStdString(); };
        if (text(cpu, cpuRate, [](const QString& s) {
                return s.isEmpty() || s == QLatin1String("--") ? std::string("--")
                                                               : s.toStdString() + '%';
            })) {
            line += "  cpu ";
            line += cpu.text;
        }
        if (text(ssid, r.ssid, plain)) {
            line += "  ";
            line += ssid.text;
        }
        if (text(ip, r.IPLocation, plain)) {
            line += "  ";
            line += ip.text;
        }
        return line;
    }
};

MonitorPrinter::~MonitorPrinter() = default;

QByteArray MonitorPrinter::textLine(const ActivityObject& r,
                                    const std::optional<QString>& cpuRate) {
    TextPieces pieces;
    return QByteArray::fromStdString(pieces.build(r, cpuRate));
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

void MonitorPrinter::emitLine() {
    // One write per line, straight to the descriptor: a reader sees whole lines, and the tick
    // skips the stream's buffering.
    const int fd = ::fileno(out_);
    if (fd < 0 || std::fflush(out_) != 0) {
        std::fwrite(output_.data(), 1, output_.size(), out_);
        std::fflush(out_);
        return;
    }
    const char* at = output_.data();
    size_t left = output_.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, at, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return; // a reader that went away: the line is lost, as with the stream
        at += n;
        left -= static_cast<size_t>(n);
    }
}

void MonitorPrinter::networkActivityDidUpdate(const ActivityRecord& record) {
    if (maxTicks_ > 0 && ticks_ >= maxTicks_)
        return;
    std::optional<QString> cpuRate;
    if (cpuRateSource_)
        cpuRate = cpuRateSource_();
    if (!options_.waybar && !options_.json && options_.format.isEmpty()) {
        if (!pieces_)
            pieces_ = std::make_unique<TextPieces>();
        output_ = pieces_->build(*record, cpuRate);
    } else {
        const QByteArray text = line(*record, cpuRate, options_);
        output_.assign(text.constData(), static_cast<size_t>(text.size()));
    }
    output_ += '\n';
    emitLine();
    ++ticks_;
    if (maxTicks_ > 0 && ticks_ >= maxTicks_)
        emit finished();
}
