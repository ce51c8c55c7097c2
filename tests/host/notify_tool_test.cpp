// tandrel-notify: its command line, and the verdicts of a bus that refuses or is not there.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host_test_support.h"
#include "notify_args.h"
#include "notify_send.h"
#include "qsp_notify.h"

namespace {

bool parse(std::vector<const char*> args, NotifyArgs* out, std::string* error) {
    args.insert(args.begin(), "tandrel-notify");
    return notify_parse_args(static_cast<int>(args.size()), args.data(), out, error);
}

TEST(NotifyArgs, AcceptedCommandLines) {
    using B = std::vector<uint8_t>;
    const struct {
        std::vector<const char*> args;
        NotifySlot slot;
        NotifyLayout layout;
        uint32_t module, event;
        uintptr_t w1, w2;
        B payload;
        std::string run_dir;
    } cases[] = {
        {{"58", "58014", "12"}, NotifySlot::Second, NotifyLayout::Words, 58, 58014, 12, 0, {}, ""},
        {{"58", "58006", "--hex", "01:03 05"},
         NotifySlot::Second,
         NotifyLayout::LenPtr,
         58,
         58006,
         0,
         0,
         {1, 3, 5},
         ""},
        {{"--ptr-len", "--first", "63", "63000", "--hex", "A0ff"},
         NotifySlot::First,
         NotifyLayout::PtrLen,
         63,
         63000,
         0,
         0,
         {0xA0, 0xFF},
         ""},
        {{"--run-dir", "/r", "58", "58010", "--text", "ab"},
         NotifySlot::Second,
         NotifyLayout::LenPtr,
         58,
         58010,
         0,
         0,
         B{'a', 'b'},
         "/r"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.size() > 2 ? std::string(c.args[0]) + " " + c.args[1] + " " + c.args[2]
                                       : c.args[0]);
        NotifyArgs a;
        std::string error;
        ASSERT_TRUE(parse(c.args, &a, &error)) << error;
        EXPECT_EQ(a.event.slot, c.slot);
        EXPECT_EQ(a.event.layout, c.layout);
        EXPECT_EQ(a.event.module, c.module);
        EXPECT_EQ(a.event.event, c.event);
        EXPECT_EQ(a.event.w1, c.w1);
        EXPECT_EQ(a.event.w2, c.w2);
        EXPECT_EQ(a.payload, c.payload);
        EXPECT_EQ(a.event.len, c.payload.size());
        EXPECT_EQ(a.run_dir, c.run_dir);
    }
}

TEST(NotifyArgs, RefusedCommandLines) {
    const std::string big(10241, 'x');
    const std::vector<std::vector<const char*>> cases = {
        {},
        {"-1", "5"},
        {"4294967296", "5"},
        {"58", "1", "2", "3", "4"},
        {"58", "1", "18446744073709551616"},
        {"58", "1", "12", "--hex", "01"},
        {"58", "1", "--hex", "01", "--text", "a"},
        {"58", "1", "--hex", "123"},
        {"58", "1", "--hex", "0g"},
        {"58", "1", "--ptr-len"},
        {"58", "1", "--text", big.c_str()},
        {"--run-dir"},
        {"--frist", "58", "1"},
    };
    for (const auto& args : cases) {
        std::string joined;
        for (const char* a : args)
            joined += std::string(a).substr(0, 20) + " ";
        SCOPED_TRACE(joined);
        NotifyArgs a;
        std::string error;
        EXPECT_FALSE(parse(args, &a, &error));
        EXPECT_FALSE(error.empty());
    }
}

class NotifyTool : public BusLoop {};

// Events that reach the bus are sent by the transcripts' @notify lines; here the failures.
TEST_F(NotifyTool, RefusedAndUnreachableBusesAreToldApart) {
    NotifyArgs a;
    std::string error;
    ASSERT_TRUE(parse({"--run-dir", test_run_dir().c_str(), "911", "1"}, &a, &error));
    EXPECT_EQ(notify_send(a, 2000, &error), NotifySendResult::Refused);
    EXPECT_NE(error.find("no module registered"), std::string::npos) << error;

    ASSERT_TRUE(
        parse({"--run-dir", (test_run_dir() + "/nowhere").c_str(), "910", "1"}, &a, &error));
    EXPECT_EQ(notify_send(a, 2000, &error), NotifySendResult::Unreachable);
}

}  // namespace
