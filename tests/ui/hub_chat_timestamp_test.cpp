// The times of the hub's chat.
#include "ui/hub/chat_timestamp.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>

namespace {

std::string from_iso(const char* iso) {
    char timestamp[k_chat_timestamp_size];
    format_chat_timestamp_from_iso(iso, timestamp);
    return timestamp;
}

std::string local_time(std::time_t seconds) {
    char text[k_chat_timestamp_size];
    const std::tm* const local = std::localtime(&seconds); // NOLINT(concurrency-mt-unsafe)
    std::strftime(text, sizeof text, "%Y-%m-%d-%H:%M:%S", local);
    return text;
}

/// Whether the text was the local time while `make` ran.
template <typename Make>
void expect_now(Make make) {
    const std::string first = local_time(std::time(nullptr));
    const std::string made = make();
    const std::string last = local_time(std::time(nullptr));
    EXPECT_GE(made, first);
    EXPECT_LE(made, last);
    EXPECT_EQ(made.size(), first.size());
}

TEST(HubChatTimestamp, OfAServerIsShownWithoutFractionsAndZone) {
    EXPECT_EQ(from_iso("2024-05-01T10:20:30.000Z"), "2024-05-01-10:20:30");
    EXPECT_EQ(from_iso("2024-05-01T10:20:30+02:00"), "2024-05-01-10:20:30");
    EXPECT_EQ(from_iso("2024-05-01 10:20:30"), "2024-05-01-10:20:30");
    EXPECT_EQ(from_iso("2024-05-01T10:20:30"), "2024-05-01-10:20:30");
}

TEST(HubChatTimestamp, OnlyItsPunctuationIsLookedAt) {
    EXPECT_EQ(from_iso("abcd-ef-ghTij:kl:mn"), "abcd-ef-gh-ij:kl:mn");
}

TEST(HubChatTimestamp, ATextThatIsNoTimeStandsForNow) {
    for (const char* const text :
         {"yesterday", "", "2024-05-01T10:20:3", "2024/05/01T10:20:30", "2024-05/01T10:20:30",
          "2024-05-01_10:20:30", "2024-05-01T10-20:30", "2024-05-01T10:20-30"}) {
        expect_now([text] { return from_iso(text); });
    }
    expect_now([] { return from_iso(nullptr); });
}

TEST(HubChatTimestamp, NowIsTheLocalTime) {
    expect_now([] {
        char timestamp[k_chat_timestamp_size];
        format_chat_timestamp_now(timestamp);
        return std::string(timestamp);
    });
}

} // namespace
