#pragma once

#include <cstddef>
#include <cstdint>

// The system management controller's request record: 80 bytes, multi-byte fields in the
// machine's (little-endian) byte order, the value bytes big-endian as the controller keeps
// them.
struct SMCKeyData {
    uint32_t key;              // four characters, the first in the most significant byte
    uint8_t versionInfo[6];    // unused
    uint8_t padding0[2];       //
    uint8_t powerLimits[16];   // unused
    uint32_t keyInfoSize;      // number of value bytes
    uint32_t keyInfoType;      // four-character type code, packed like key
    uint8_t keyInfoAttributes; // unused
    uint8_t padding1[3];       //
    uint8_t result;            // not examined
    uint8_t status;            // not examined
    uint8_t command;           // kSMCReadKeyInfo or kSMCReadBytes
    uint8_t padding2;          //
    uint32_t value32;          // unused
    uint8_t bytes[32];         // the value
};
static_assert(sizeof(SMCKeyData) == 80);
static_assert(offsetof(SMCKeyData, keyInfoSize) == 28);
static_assert(offsetof(SMCKeyData, keyInfoType) == 32);
static_assert(offsetof(SMCKeyData, result) == 40);
static_assert(offsetof(SMCKeyData, command) == 42);
static_assert(offsetof(SMCKeyData, value32) == 44);
static_assert(offsetof(SMCKeyData, bytes) == 48);

inline constexpr uint8_t kSMCReadKeyInfo = 9;
inline constexpr uint8_t kSMCReadBytes = 5;
inline constexpr uint32_t kSMCHandleYPCEvent = 2; // the structure-call method index

// Status codes the transports answer with (the driver's own values).
inline constexpr int kSMCSuccess = 0;
inline constexpr int kSMCErrorNotFound = static_cast<int>(0xe00002f0);
inline constexpr int kSMCErrorNotPrivileged = static_cast<int>(0xe00002c1);
inline constexpr int kSMCErrorNotOpen = static_cast<int>(0xe00002cd);
inline constexpr int kSMCErrorBadArgument = static_cast<int>(0xe00002c2);

// A connection to the controller's driver.
class SMCTransport {
public:
    struct OpenResult {
        int matchStatus = kSMCSuccess; // non-zero: the service lookup itself failed
        bool found = false;            // a controller service exists
        int openStatus = kSMCSuccess;  // non-zero: the service exists but cannot be opened
    };
    virtual ~SMCTransport() = default;
    virtual OpenResult open() = 0;
    virtual void close() = 0;
    // One structure call: an 80-byte input record and an 80-byte output record.
    virtual int call(uint32_t method, const SMCKeyData& input, SMCKeyData& output) = 0;
};
