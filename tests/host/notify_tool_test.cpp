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

// The transcripts' @notify lines run the common forms; here the edges: the widest word, the hex
// separators, both options before the numbers.
TEST(NotifyArgs, AcceptedCommandLines) {
    NotifyArgs a;
    std::string error;
    const char* max_word = sizeof(uintptr_t) == 8 ? "0xffffffffffffffff" : "0xffffffff";
    ASSERT_TRUE(parse({"--first", "0x3a", "0xE290", max_word, "7"}, &a, &error)) << error;
    EXPECT_EQ(a.event.slot, NotifySlot::First);
    EXPECT_EQ(a.event.layout, NotifyLayout::Words);
    EXPECT_EQ(a.event.module, 58u);
    EXPECT_EQ(a.event.event, 58000u);
    EXPECT_EQ(a.event.w1, UINTPTR_MAX);
    EXPECT_EQ(a.event.w2, 7u);

    ASSERT_TRUE(parse({"--ptr-len", "--second", "63", "63000", "--hex", "A0:ff 05"}, &a, &error))
        << error;
    EXPECT_EQ(a.event.slot, NotifySlot::Second);
    EXPECT_EQ(a.event.layout, NotifyLayout::PtrLen);
    EXPECT_EQ(a.payload, (std::vector<uint8_t>{0xA0, 0xFF, 5}));
    EXPECT_EQ(a.event.len, 3u);

    // Without options an event of the daemon's goes as the daemon takes it.
    const struct {
        const char* module;
        const char* event;
        NotifySlot slot;
        NotifyLayout layout;
    } defaults[] = {
        {"58", "58006", NotifySlot::Second, NotifyLayout::PtrLen},
        {"58", "58000", NotifySlot::First, NotifyLayout::PtrLen},
        {"58", "58001", NotifySlot::Second, NotifyLayout::LenPtr},
        {"63", "63000", NotifySlot::First, NotifyLayout::PtrLen},
        {"80", "79002", NotifySlot::First, NotifyLayout::PtrLen},
        {"158", "1", NotifySlot::Second, NotifyLayout::LenPtr},
    };
    for (const auto& d : defaults) {
        SCOPED_TRACE(d.event);
        ASSERT_TRUE(parse({d.module, d.event, "--hex", "01:01:00"}, &a, &error)) << error;
        EXPECT_EQ(a.event.slot, d.slot);
        EXPECT_EQ(a.event.layout, d.layout);
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
