#include "AppleSmcTransport.h"

#include "PlatformPaths.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cstring>
#include <optional>

namespace {

uint32_t packFour(const QByteArray& text) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i)
        v = (v << 8) | static_cast<uint8_t>(i < text.size() ? text[i] : ' ');
    return v;
}

bool writeIndex(const QString& dir, int index) {
    return PlatformPaths::writeSmallFile(dir + "/key_at_index", QByteArray::number(index));
}

std::optional<QByteArray> readAttribute(const QString& dir, const char* name) {
    return PlatformPaths::readSmallFile(dir + "/" + QLatin1String(name), 256);
}

} // namespace

AppleSmcTransport::AppleSmcTransport(QString sysfsRoot) : root_(std::move(sysfsRoot)) {}

QString AppleSmcTransport::deviceDirectory() const {
    const QString root = root_.isEmpty() ? PlatformPaths::sysfsRoot() : root_;
    return root + "/devices/platform/applesmc.768";
}

SMCTransport::OpenResult AppleSmcTransport::open() {
    OpenResult r;
    const QString dir = deviceDirectory();
    r.found = QFileInfo(dir).isDir();
    if (!r.found)
        return r;
    if (!readAttribute(dir, "key_count")) {
        r.openStatus = kSMCErrorNotPrivileged;
        return r;
    }
    open_ = true;
    return r;
}

void AppleSmcTransport::close() {
    open_ = false;
    indexOfKey_.clear();
}

int AppleSmcTransport::select(uint32_t key) {
    const QString dir = deviceDirectory();
    if (auto it = indexOfKey_.find(key); it != indexOfKey_.end())
        return writeIndex(dir, it->second) ? kSMCSuccess : kSMCErrorNotPrivileged;
    auto count = readAttribute(dir, "key_count");
    if (!count)
        return kSMCErrorNotOpen;
    const int n = count->trimmed().toInt();
    for (int i = 0; i < n; ++i) {
        if (!writeIndex(dir, i))
            return kSMCErrorNotPrivileged;
        auto name = readAttribute(dir, "key_at_index_name");
        if (!name)
            return kSMCErrorNotPrivileged;
        const uint32_t packed = packFour(name->trimmed());
        indexOfKey_[packed] = i;
        if (packed == key)
            return kSMCSuccess;
    }
    return kSMCErrorNotFound;
}

int AppleSmcTransport::call(uint32_t method, const SMCKeyData& input, SMCKeyData& output) {
    if (!open_)
        return kSMCErrorNotOpen;
    if (method != kSMCHandleYPCEvent)
        return kSMCErrorBadArgument;
    const int status = select(input.key);
    if (status != kSMCSuccess)
        return status;
    const QString dir = deviceDirectory();
    std::memset(&output, 0, sizeof output);
    output.key = input.key;
    if (input.command == kSMCReadKeyInfo) {
        auto type = readAttribute(dir, "key_at_index_type");
        auto length = readAttribute(dir, "key_at_index_data_length");
        if (!type || !length)
            return kSMCErrorNotPrivileged;
        output.keyInfoType = packFour(type->left(4).leftJustified(4, ' '));
        output.keyInfoSize = length->trimmed().toUInt();
        return kSMCSuccess;
    }
    if (input.command == kSMCReadBytes) {
        auto data = readAttribute(dir, "key_at_index_data");
        if (!data)
            return kSMCErrorNotPrivileged;
        const auto n = std::min<size_t>(
            {size_t(data->size()), sizeof output.bytes, size_t(input.keyInfoSize)});
        std::memcpy(output.bytes, data->constData(), n);
        return kSMCSuccess;
    }
    return kSMCErrorBadArgument;
}
