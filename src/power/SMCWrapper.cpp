#include "SMCWrapper.h"

#include "platform/DecimalText.h"
#include "platform/linux/AppleSmcTransport.h"

#include <QLocale>

#include <cstdio>
#include <cstring>

namespace {

std::function<void(const char*)>& logSink() {
    static std::function<void(const char*)> sink = [](const char* line) {
        std::fputs(line, stdout);
        std::fflush(stdout);
    };
    return sink;
}

void logLine(const char* format, unsigned value) {
    char line[96];
    std::snprintf(line, sizeof line, format, value);
    logSink()(line);
}

double u16(const uint8_t* b) {
    return double((uint32_t(b[0]) << 8) | b[1]);
}

double s16(const uint8_t* b) {
    return double(int16_t(uint16_t((uint32_t(b[0]) << 8) | b[1])));
}

struct FixedPoint {
    const char* type;
    bool isSigned;
    double scale; // exact reciprocal power of two
    int decimals;
};

const FixedPoint kFixedPoint[] = {
    {"fp1f", false, 1.0 / 32768, 5}, {"fp4c", false, 1.0 / 4096, 5}, {"fp5b", false, 1.0 / 2048, 5},
    {"fp6a", false, 1.0 / 1024, 4},  {"fp79", false, 1.0 / 512, 4},  {"fp88", false, 1.0 / 256, 3},
    {"fpa6", false, 1.0 / 64, 2},    {"fpc4", false, 1.0 / 16, 2},   {"fpe2", false, 1.0 / 4, 2},
    {"sp1e", true, 1.0 / 16384, 5},  {"sp3c", true, 1.0 / 4096, 5},  {"sp4b", true, 1.0 / 2048, 4},
    {"sp5a", true, 1.0 / 1024, 4},   {"sp69", true, 1.0 / 512, 3},   {"sp78", true, 1.0 / 256, 3},
    {"sp87", true, 1.0 / 128, 3},    {"sp96", true, 1.0 / 64, 2},    {"spb4", true, 1.0 / 16, 2},
};

constexpr size_t kTextLimit = 15;

// A fixed-point value with a '.' whatever the locale, then the suffix.
void putDecimal(char* text, double value, int decimals, const char* suffix) {
    const QByteArray s = decimalText(value, decimals).toLatin1() + suffix;
    std::snprintf(text, kTextLimit, "%s", s.constData());
}

} // namespace

std::shared_ptr<SMCTransport>& SMCWrapper::connection() {
    static std::shared_ptr<SMCTransport> shared;
    return shared;
}

void SMCWrapper::setLogSink(std::function<void(const char*)> sink) {
    logSink() = std::move(sink);
}

SMCWrapper* SMCWrapper::sharedWrapper() {
    static SMCWrapper* wrapper = nullptr;
    if (!wrapper)
        wrapper = new SMCWrapper(std::make_shared<AppleSmcTransport>());
    return wrapper;
}

SMCWrapper::SMCWrapper(std::shared_ptr<SMCTransport> transport) {
    connection() = std::move(transport);
    if (!SMCOpen())
        logSink()("Unable to open SMC.\n");
}

SMCWrapper::~SMCWrapper() {
    SMCClose();
}

bool SMCWrapper::SMCOpen() {
    auto& conn = connection();
    if (!conn)
        return false;
    const SMCTransport::OpenResult r = conn->open();
    if (r.matchStatus != kSMCSuccess) {
        logLine("Error: IOServiceGetMatchingServices() = %08x\n", unsigned(r.matchStatus));
        return false;
    }
    if (!r.found) {
        logSink()("Error: no SMC found\n");
        return false;
    }
    if (r.openStatus != kSMCSuccess) {
        logLine("Error: IOServiceOpen() = %08x\n", unsigned(r.openStatus));
        return false;
    }
    return true;
}

void SMCWrapper::SMCClose() {
    if (auto& conn = connection())
        conn->close();
}

int SMCWrapper::SMCCall(uint32_t index, const SMCKeyData& input, SMCKeyData& output) {
    auto& conn = connection();
    if (!conn)
        return kSMCErrorNotOpen;
    return conn->call(index, input, output);
}

int SMCWrapper::SMCReadKey(const char* key, SMCKeyValue& value) {
    SMCKeyData input;
    SMCKeyData output;
    std::memset(&input, 0, sizeof input);
    std::memset(&output, 0, sizeof output);
    std::memset(&value, 0, sizeof value);

    input.key = _strtoul(key, 4, 16);
    input.command = kSMCReadKeyInfo;
    int status = SMCCall(kSMCHandleYPCEvent, input, output);
    if (status != kSMCSuccess)
        return status;

    std::strncpy(value.key, key, 4);
    value.dataSize = output.keyInfoSize;
    _ultostr(value.dataType, output.keyInfoType);

    input.keyInfoSize = value.dataSize;
    input.command = kSMCReadBytes;
    status = SMCCall(kSMCHandleYPCEvent, input, output);
    if (status != kSMCSuccess)
        return status;
    std::memcpy(value.bytes, output.bytes, sizeof value.bytes);
    return kSMCSuccess;
}

bool SMCWrapper::readKey(const QString& key, QString& text) {
    const QByteArray k = key.toLatin1().leftJustified(4, '\0', true);
    SMCKeyValue value;
    if (SMCReadKey(k.constData(), value) != kSMCSuccess) {
        text.clear();
        return false;
    }
    char buffer[kTextLimit + 1] = {};
    getStringRepresentation(value.bytes, value.dataSize, value.dataType, buffer);
    text = QString::fromUtf8(buffer);
    return true;
}

bool SMCWrapper::readKey(const QString& key, std::optional<double>& number) {
    QString text;
    if (!readKey(key, text)) {
        number = 0.0;
        return false;
    }
    bool ok = false;
    const double v = QLocale::c().toDouble(text.trimmed(), &ok);
    number = ok ? std::optional<double>(v) : std::nullopt;
    return true;
}

uint32_t SMCWrapper::_strtoul(const char* text, int size, int base) {
    uint32_t total = 0;
    for (int i = 0; i < size; ++i) {
        const int shift = (size - 1 - i) * 8;
        const uint32_t c =
            static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(text[i])));
        const uint32_t shifted = shift < 32 ? c << shift : 0;
        if (base == 16)
            total += shifted;
        else
            total += shifted & 0xff;
    }
    return total;
}

void SMCWrapper::_ultostr(char* text, uint32_t value) {
    std::snprintf(text, 5, "%c%c%c%c", int((value >> 24) & 0xff), int((value >> 16) & 0xff),
                  int((value >> 8) & 0xff), int(value & 0xff));
}

void SMCWrapper::getStringRepresentation(const uint8_t* bytes, uint32_t size, const char* type,
                                         char* text) {
    auto is = [type](const char* t) { return std::strncmp(type, t, 4) == 0; };
    if (is("ui8 ") || is("ui16") || is("ui32")) {
        std::snprintf(text, kTextLimit, "%u ",
                      _strtoul(reinterpret_cast<const char*>(bytes), int(size), 10));
        return;
    }
    if (size == 2) {
        for (const FixedPoint& f : kFixedPoint) {
            if (is(f.type)) {
                putDecimal(text, (f.isSigned ? s16(bytes) : u16(bytes)) * f.scale, f.decimals, " ");
                return;
            }
        }
        if (is("spf0")) {
            putDecimal(text, u16(bytes), 0, " ");
            return;
        }
        if (is("si16")) {
            std::snprintf(text, kTextLimit, "%d ", int(u16(bytes)));
            return;
        }
    }
    if (size == 1 && is("si8 ")) {
        std::snprintf(text, kTextLimit, "%d ", int(static_cast<int8_t>(bytes[0])));
        return;
    }
    if (size == 2 && is("{pwm")) {
        const int32_t scaled = int32_t(u16(bytes)) * 100;
        putDecimal(text, double(scaled) / 65536.0, 1, "% ");
        return;
    }
}
