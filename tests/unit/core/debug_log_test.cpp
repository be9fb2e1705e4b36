// The debug log and the hub debug log: what reaches the file and the debugger.
#include "chat/hub_click_log.h"
#include "core/debug_log.h"
#include "unit/core/core_fixture.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>

namespace {

class DebugLogFile : public CoreTest {};
class HubClickLog : public CoreTest {};

// Digits become '0', so that a time can be compared with its shape.
std::string with_digits_as_zero(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; }, '0');
    return text;
}

TEST_F(DebugLogFile, LineIsExactlyTheMessage) {
    DebugLog("Sent %d bytes to %s", 13, "host");
    EXPECT_EQ(debug_log(), "Sent 13 bytes to host\n");
    EXPECT_EQ(fake_debug_calls(), (Lines{"Sent 13 bytes to host", "\n"}));
}

TEST_F(DebugLogFile, EmptyMessageIsAnEmptyLine) {
    DebugLog("%s", "");
    EXPECT_EQ(debug_log(), "\n");
}

TEST_F(DebugLogFile, MessageOf1023BytesIsKeptWhole) {
    const std::string text(1023, 'x');
    DebugLog("%s", text.c_str());
    EXPECT_EQ(debug_log(), text + "\n");
    EXPECT_EQ(fake_debug_output(), text + "\n");
}

TEST_F(DebugLogFile, LongerMessageIsCutAt1023BytesInFileAndDebugger) {
    const std::string text = std::string(1023, 'x') + "yz";
    DebugLog("%s", text.c_str());
    EXPECT_EQ(debug_log(), text.substr(0, 1023) + "\n");
    EXPECT_EQ(fake_debug_output(), text.substr(0, 1023) + "\n");
}

TEST_F(DebugLogFile, PercentSignsInTheMessageAreNotFormattedAgain) {
    DebugLog("%s", "100%s %n");
    EXPECT_EQ(debug_log(), "100%s %n\n");
}

TEST_F(DebugLogFile, GrowsWithEveryCall) {
    DebugLog("one");
    DebugLog("two");
    EXPECT_EQ(debug_log(), "one\ntwo\n");
}

TEST_F(DebugLogFile, FileThatCannotBeOpenedLosesOnlyItsLine) {
    std::filesystem::create_directory("velmotalk_debug.log");
    DebugLog("lost");
    EXPECT_EQ(fake_debug_output(), "lost\n");
    std::filesystem::remove("velmotalk_debug.log");
    DebugLog("kept");
    EXPECT_EQ(debug_log(), "kept\n");
}

TEST_F(DebugLogFile, ConcurrentCallsEachAppendOnTheirOwn) {
    constexpr int k_lines = 100;
    const auto write = [](char letter) {
        const std::string text(200, letter);
        for (int i = 0; i < k_lines; ++i) {
            DebugLog("%s", text.c_str());
        }
    };
    std::thread a(write, 'a');
    std::thread b(write, 'b');
    a.join();
    b.join();
    DebugLog("after");
    const std::string log = debug_log();
    EXPECT_TRUE(log.ends_with("after\n"));
#ifdef _WIN32
    // There is no lock, and Windows appends in two steps: a line may be lost or land on another.
    EXPECT_LE(log.size(), 2 * k_lines * 201 + std::strlen("after\n"));
    EXPECT_EQ(log.find_first_not_of("ab\nfter"), std::string::npos);
#else
    std::istringstream lines(log);
    std::multiset<std::string> written;
    for (std::string line; std::getline(lines, line);) {
        written.insert(line);
    }
    EXPECT_EQ(written.count(std::string(200, 'a')), std::size_t{k_lines});
    EXPECT_EQ(written.count(std::string(200, 'b')), std::size_t{k_lines});
    EXPECT_EQ(written.size(), 2 * std::size_t{k_lines} + 1);
#endif
}

TEST_F(HubClickLog, StampsTheLineInItsFileAndRepeatsItInTheDebugLog) {
    append_hub_click_log("[HUB][LOG] %s %d", "row", 4);
    EXPECT_EQ(with_digits_as_zero(read_text_file("hub_click_debug.log")),
              "[0000-00-00 00:00:00] [HUB][LOG] row 0\n");
    EXPECT_EQ(debug_log(), "[HUB][LOG] row 4\n");
}

TEST_F(HubClickLog, StampIsLocalTime) {
    const auto stamp = [](std::time_t time) {
        char text[32];
        std::strftime(text, sizeof text, "[%Y-%m-%d %H:%M:%S] ", std::localtime(&time));
        return std::string(text);
    };
    const std::time_t before = std::time(nullptr);
    append_hub_click_log("x");
    const std::time_t after = std::time(nullptr);
    bool found = false;
    for (std::time_t time = before; time <= after; ++time) {
        found = found || read_text_file("hub_click_debug.log") == stamp(time) + "x\n";
    }
    EXPECT_TRUE(found) << read_text_file("hub_click_debug.log");
}

TEST_F(HubClickLog, AppendsLineByLine) {
    append_hub_click_log("one");
    append_hub_click_log("two");
    const std::string log = read_text_file("hub_click_debug.log");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
    EXPECT_EQ(debug_log(), "one\ntwo\n");
}

TEST_F(HubClickLog, LongLineIsWholeInItsFileAndCutInTheDebugLog) {
    const std::string text(3000, 'x');
    append_hub_click_log("%s", text.c_str());
    EXPECT_NE(read_text_file("hub_click_debug.log").find(text + "\n"), std::string::npos);
    EXPECT_EQ(debug_log(), text.substr(0, 1023) + "\n");
}

TEST_F(HubClickLog, FileThatCannotBeOpenedLosesOnlyItsLine) {
    std::filesystem::create_directory("hub_click_debug.log");
    append_hub_click_log("line");
    EXPECT_EQ(debug_log(), "line\n");
}

TEST_F(HubClickLog, MayBeCalledFromSeveralThreads) {
    constexpr int k_lines = 2400;
    std::atomic<int> ready = 0;
    const auto append = [&ready](const char* text) {
        for (++ready; ready < 2;) { // both at once
        }
        for (int i = 0; i < k_lines; ++i) {
            append_hub_click_log("%s", text);
        }
    };
    std::thread other(append, "worker");
    append("main");
    other.join();
    const std::string output = fake_debug_output();
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 2 * k_lines);
    std::ifstream file("hub_click_debug.log");
    int whole = 0;
    for (std::string line; std::getline(file, line);) {
        whole += line.ends_with("] worker") || line.ends_with("] main") ? 1 : 0;
    }
    EXPECT_EQ(whole, 2 * k_lines);
}

} // namespace
