#include "platform/linux/AppleSmcTransport.h"
#include "power/SMCWrapper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// A controller holding one key; records every call it gets.
class FakeController : public SMCTransport {
public:
    SMCTransport::OpenResult openResult{kSMCSuccess, true, kSMCSuccess};
    uint32_t key = SMCWrapper::_strtoul("TC0P", 4, 16);
    uint32_t type = SMCWrapper::_strtoul("sp78", 4, 16);
    int failOnCommand = -1;
    std::vector<SMCKeyData> calls;
    bool closed = false;

    OpenResult open() override { return openResult; }
    void close() override { closed = true; }
    int call(uint32_t, const SMCKeyData& in, SMCKeyData& out) override {
        calls.push_back(in);
        if (in.command == failOnCommand)
            return kSMCErrorNotPrivileged;
        if (in.key != key)
            return kSMCErrorNotFound;
        std::memset(&out, 0, sizeof out);
        out.keyInfoSize = 2;
        out.keyInfoType = type;
        out.bytes[0] = 0x2D;
        out.bytes[1] = 0x80;
        return kSMCSuccess;
    }
};

struct LogCapture {
    std::string text;
    LogCapture() {
        SMCWrapper::setLogSink([this](const char* line) { text += line; });
    }
    ~LogCapture() {
        SMCWrapper::setLogSink([](const char* line) { std::fputs(line, stdout); });
    }
};

} // namespace

TEST(SMCDecoding, TypeTable) {
    const std::tuple<const char*, std::vector<uint8_t>, const char*> rows[] = {
        {"sp78", {0x2D, 0x80}, "45.500 "},
        {"sp78", {0xFF, 0x80}, "-0.500 "},
        {"fpe2", {0x1F, 0x40}, "2000.00 "},
        {"sp1e", {0xC0, 0x00}, "-1.00000 "},
        {"spb4", {0x00, 0x18}, "1.50 "},
        // Integers keep only the last byte of each shifted one.
        {"ui16", {0x01, 0x02}, "2 "},
        {"ui32", {0x00, 0x00, 0x01, 0x2C}, "44 "},
        {"si8 ", {0xFE}, "-2 "},
        {"si16", {0xFF, 0xFF}, "65535 "}, // read unsigned
        {"{pwm", {0xFF, 0xFF}, "100.0% "},
        // Type and size must both match.
        {"si8 ", {0x01, 0x02}, ""},
        {"sp78", {0x2D}, ""},
        {"flt ", {0x00, 0x00, 0x80, 0x3F}, ""},
    };
    for (const auto& [type, bytes, expected] : rows) {
        char text[16] = {};
        SMCWrapper::getStringRepresentation(bytes.data(), uint32_t(bytes.size()), type, text);
        EXPECT_STREQ(text, expected) << type;
    }

    // Nothing longer than 14 characters and the terminator is ever written.
    char text[32];
    std::memset(text, 'x', sizeof text);
    const uint8_t big[] = {0xFF, 0xFF};
    SMCWrapper::getStringRepresentation(big, 2, "fp1f", text);
    EXPECT_EQ(std::string(text), "1.99997 ");
    EXPECT_EQ(text[15], 'x');
}

TEST(SMCRead, TheSizeSentBackFailuresAndAFailedOpen) {
    LogCapture log;
    auto controller = std::make_shared<FakeController>();
    SMCWrapper wrapper(controller);
    std::optional<double> number;
    ASSERT_TRUE(wrapper.readKey("TC0P", number));
    EXPECT_EQ(number, 45.5);
    EXPECT_EQ(controller->calls.back().keyInfoSize, 2u); // the size read first is sent back
    EXPECT_EQ(log.text, "");

    // Failures give empty text and zero.
    QString text = "stale";
    EXPECT_FALSE(wrapper.readKey("TA0P", text));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(wrapper.readKey("TA0P", number));
    EXPECT_EQ(number, 0.0);
    controller->failOnCommand = kSMCReadBytes;
    SMCKeyValue value;
    EXPECT_EQ(wrapper.SMCReadKey("TC0P", value), kSMCErrorNotPrivileged);

    // A type without a rule reads as success with empty text, which is not a number.
    controller->failOnCommand = -1;
    controller->type = SMCWrapper::_strtoul("flag", 4, 16);
    ASSERT_TRUE(wrapper.readKey("TC0P", number));
    EXPECT_FALSE(number.has_value());

    // A failed open prints its line; the connection is closed at the end all the same.
    auto refusing = std::make_shared<FakeController>();
    refusing->openResult = {kSMCSuccess, true, kSMCErrorNotPrivileged};
    { SMCWrapper failed(refusing); }
    EXPECT_EQ(log.text, "Error: IOServiceOpen() = e00002c1\nUnable to open SMC.\n");
    EXPECT_TRUE(refusing->closed);
}

TEST(SMCAppleSmcTransport, MissingDriverAndReadableTree) {
    TempDir dir;
    EXPECT_FALSE(AppleSmcTransport(dir.path()).open().found);

    // A tree whose index file is writable (as it is for root): one key at index 1.
    const QString base = "devices/platform/applesmc.768/key_";
    dir.write(base + "count", "2\n");
    dir.write(base + "at_index", "0\n");
    dir.write(base + "at_index_name", "TC0P\n");
    dir.write(base + "at_index_type", "sp78\n");
    dir.write(base + "at_index_data_length", "2\n");
    dir.write(base + "at_index_data", QByteArray("\x2D\x80", 2));
    LogCapture log;
    SMCWrapper wrapper(std::make_shared<AppleSmcTransport>(dir.path()));
    QString text;
    ASSERT_TRUE(wrapper.readKey("TC0P", text));
    EXPECT_EQ(text, "45.500 ");
    EXPECT_FALSE(wrapper.readKey("TB0T", text));
}
