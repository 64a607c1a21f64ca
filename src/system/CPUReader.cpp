#include "CPUReader.h"

#include "platform/linux/ProcStatReader.h"

#include <array>
#include <cmath>

namespace {
// The rate texts 0 ... 100, made once: a tick shares one instead of building a string.
const QString& rateText(int load) {
    static const std::array<QString, 101> texts = [] {
        std::array<QString, 101> t;
        for (int k = 0; k <= 100; ++k)
            t[size_t(k)] = QString::number(k);
        return t;
    }();
    return texts[size_t(load)];
}
} // namespace

CPUReader& CPUReader::shared() {
    static CPUReader* reader = new CPUReader(std::make_shared<ProcStatReader>());
    return *reader;
}

CPUReader::CPUReader(std::shared_ptr<CpuLoadSource> source) : source_(std::move(source)) {}

std::optional<int> CPUReader::loadBetween(const Ticks& previous, const Ticks& current) {
    // Unsigned 32-bit arithmetic throughout: a counter that wrapped still gives the
    // right difference, and an inconsistent wrap shows up as busy > total.
    const uint32_t busy =
        static_cast<uint32_t>(static_cast<uint32_t>(current.user - previous.user) +
                              static_cast<uint32_t>(current.system - previous.system));
    const uint32_t total =
        static_cast<uint32_t>(busy + static_cast<uint32_t>(current.idle - previous.idle));
    const double share = static_cast<double>(busy) / static_cast<double>(total) * 100.0;
    if (std::isnan(share))
        return 0;                             // no time elapsed at all
    const double rounded = std::round(share); // halves away from zero
    if (!(rounded >= 0.0 && rounded <= 100.0))
        return std::nullopt;
    return static_cast<int>(rounded);
}

void CPUReader::reload() {
    const std::optional<CpuLoadCounters> read = source_ ? source_->read() : std::nullopt;
    if (!read) {
        cpuRate_ = QStringLiteral("--");
        return;
    }
    // Counters that went backwards (a reset, a suspended guest, a bad read) give no rate.
    const bool backwards =
        previousRead_ && (read->user < previousRead_->user ||
                          read->system < previousRead_->system || read->idle < previousRead_->idle);
    previousRead_ = read;
    Ticks now;
    now.user = static_cast<uint32_t>(read->user);
    now.system = static_cast<uint32_t>(read->system);
    now.idle = static_cast<uint32_t>(read->idle);
    now.nice = static_cast<uint32_t>(read->nice);
    const std::optional<int> load = loadBetween(prev_cpu_load_, now);
    prev_cpu_load_ = now;
    if (!load || backwards) {
        cpuRate_ = QStringLiteral("--");
        return;
    }
    numbers_.push_back(*load);
    if (numbers_.size() > kHistoryLength)
        numbers_.erase(numbers_.begin());
    cpuRate_ = rateText(*load);
}

std::optional<QString> CPUReader::avg() const {
    if (numbers_.empty())
        return std::nullopt;
    int64_t sum = 0;
    int64_t count = 0;
    for (int n : numbers_) {
        if (n > 0) {
            sum += n;
            ++count;
        }
    }
    return QString::number(count > 0 ? sum / count : 0);
}
