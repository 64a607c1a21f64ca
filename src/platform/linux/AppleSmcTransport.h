#pragma once

#include "platform/SmcTransport.h"

#include <QString>

#include <map>
#include <string>

// The controller as the applesmc driver shows it in sysfs
// (<sysfs root>/devices/platform/applesmc.768): key_count, and for a key index written to
// key_at_index its name, type, data length and raw data. Selecting a key needs write access
// to key_at_index (root on most systems); without it reads fail with "not privileged".
class AppleSmcTransport : public SMCTransport {
public:
    // An empty root follows PlatformPaths::sysfsRoot().
    explicit AppleSmcTransport(QString sysfsRoot = QString());

    OpenResult open() override;
    void close() override;
    int call(uint32_t method, const SMCKeyData& input, SMCKeyData& output) override;

    QString deviceDirectory() const;

private:
    // Selects the key's index; returns a status code.
    int select(uint32_t key);
    QString root_;
    bool open_ = false;
    std::map<uint32_t, int> indexOfKey_;
};
