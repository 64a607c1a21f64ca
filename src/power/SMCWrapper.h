#pragma once

#include "platform/SmcTransport.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

// One key's value as read from the controller. Zeroed before every read.
struct SMCKeyValue {
    char key[5];
    uint32_t dataSize;
    char dataType[5];
    uint8_t bytes[32];
};

// Access to the system management controller: sensor and fan values under four-character
// keys, read through the fixed 80-byte request record and decoded by their type.
class SMCWrapper {
public:
    // The shared wrapper over the applesmc transport; first call from the main thread.
    static SMCWrapper* sharedWrapper();

    // Opens the connection (the one shared by every wrapper); a failure logs
    // "Unable to open SMC." and still gives a wrapper whose reads fail.
    explicit SMCWrapper(std::shared_ptr<SMCTransport> transport);
    ~SMCWrapper();
    SMCWrapper(const SMCWrapper&) = delete;
    SMCWrapper& operator=(const SMCWrapper&) = delete;

    bool SMCOpen();
    void SMCClose();
    int SMCCall(uint32_t index, const SMCKeyData& input, SMCKeyData& output);
    int SMCReadKey(const char* key, SMCKeyValue& value);

    // Text form of a key's value, e.g. "45.500 "; false and empty on failure.
    bool readKey(const QString& key, QString& text);
    // The text form parsed as a decimal number; nullopt when the text is not one, 0 and false
    // when the read failed.
    bool readKey(const QString& key, std::optional<double>& number);

    // Packs size characters (as signed bytes) into a 32-bit value, first character most
    // significant. Base 16 keeps every byte; any other base keeps only the low 8 bits of
    // each shifted character.
    static uint32_t _strtoul(const char* text, int size, int base);
    // Writes the four bytes of value, most significant first, and a terminator (5 bytes).
    static void _ultostr(char* text, uint32_t value);
    // Decodes bytes of the given type and size into at most 15 bytes of text; writes nothing
    // for a type/size it does not know.
    static void getStringRepresentation(const uint8_t* bytes, uint32_t size, const char* type,
                                        char* text);

    // Where the open failures are written (standard output unless replaced).
    static void setLogSink(std::function<void(const char*)> sink);

private:
    static std::shared_ptr<SMCTransport>& connection();
};
