// The recovery log of chat history, byte for byte.
#include "chat/history_recovery_log.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr const char* k_file = "chat_history_recovery.log";
constexpr std::size_t k_stamp = 21; // "[2024-05-01 10:20:30]"

class HistoryRecoveryLog : public testing::Test {
  protected:
    HistoryRecoveryLog() { std::filesystem::remove_all(k_file); }
    ~HistoryRecoveryLog() override { std::filesystem::remove_all(k_file); }

    static std::string content() {
        std::ifstream file(k_file, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

std::string stamp_of(std::time_t time) {
    char text[32];
    std::strftime(text, sizeof text, "[%Y-%m-%d %H:%M:%S]", std::localtime(&time));
    return text;
}

TEST_F(HistoryRecoveryLog, EntryHasItsLinePayloadAndEnd) {
    const std::time_t before = std::time(nullptr);
    append_chat_history_raw_log("room-1", true, false, R"([{"text":"a"},{"text":"b"}])");
    const std::time_t after = std::time(nullptr);
    const std::string text = content();
    EXPECT_EQ(text.substr(k_stamp), " roomId=room-1 prepend=true applied=false textFields=2\n"
                                    R"([{"text":"a"},{"text":"b"}])"
                                    "\n----\n");
    bool is_now = false;
    for (std::time_t time = before; time <= after; ++time) {
        is_now = is_now || text.substr(0, k_stamp) == stamp_of(time);
    }
    EXPECT_TRUE(is_now) << text;
}

TEST_F(HistoryRecoveryLog, EntriesAreAppended) {
    append_chat_history_raw_log("", false, true, "{}");
    append_chat_history_raw_log(nullptr, false, false, nullptr);
    const std::string text = content();
    const std::string first = " roomId=- prepend=false applied=true textFields=0\n{}\n----\n";
    EXPECT_EQ(text.substr(k_stamp, first.size()), first);
    EXPECT_EQ(text.substr(2 * k_stamp + first.size()),
              " roomId=- prepend=false applied=false textFields=0\n\n----\n");
}

TEST_F(HistoryRecoveryLog, LongPayloadIsWhole) {
    const std::string payload(65535, '%');
    append_chat_history_raw_log("r", false, false, payload.c_str());
    EXPECT_NE(content().find("\n" + payload + "\n----\n"), std::string::npos);
}

TEST_F(HistoryRecoveryLog, FileThatCannotBeOpenedLosesTheEntryOnly) {
    std::filesystem::create_directory(k_file);
    append_chat_history_raw_log("r", false, false, "{}");
    EXPECT_TRUE(std::filesystem::is_directory(k_file));
}

} // namespace
