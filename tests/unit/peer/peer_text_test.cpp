// The texts that the voice protocol carries, and those that a terminal may show.
#include "peer/peer_text.h"

#include <gtest/gtest.h>

namespace {

// One of each kind of byte sequence that is not UTF-8.
constexpr const char* k_malformed[] = {
    "\x80",             // goes on what never began
    "\xC3",             // cut
    "\xC3(",            // cut by another
    "\xE2\x82",         // cut later
    "\xC0\xAF",         // longer than needed
    "\xE0\x9F\xBF",     // longer than needed
    "\xF0\x8F\xBF\xBF", // longer than needed
    "\xED\xA0\x80",     // half of a surrogate pair
    "\xF4\x90\x80\x80", // beyond the last character
    "\xF5\x80\x80\x80", // begins nothing
    "\xFF",
};

TEST(PeerText, NamesOfEveryScriptAreTaken) {
    for (const char* name : {"ana", "José", "ñandú €", "Юля", "名前", "🎧", "\xC2\xA0",
                             "\xED\x9F\xBF", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(is_protocol_name(name)) << name;
    }
}

TEST(PeerText, NamesHave1To63Bytes) {
    EXPECT_FALSE(is_protocol_name(""));
    EXPECT_TRUE(is_protocol_name(std::string(63, 'x')));
    EXPECT_FALSE(is_protocol_name(std::string(64, 'x')));
    EXPECT_TRUE(is_protocol_name(std::string(61, 'x') + "é"));
    EXPECT_FALSE(is_protocol_name(std::string(62, 'x') + "é"));
}

TEST(PeerText, TextsMayHaveAnyLength) {
    EXPECT_TRUE(is_protocol_text(""));
    EXPECT_TRUE(is_protocol_text(std::string(500, 'x')));
}

TEST(PeerText, WhatTheProtocolCannotQuoteIsRefused) {
    EXPECT_FALSE(is_protocol_text("a\"b"));
    EXPECT_FALSE(is_protocol_text("a\\b"));
}

TEST(PeerText, ControlCharactersAreRefusedAndShownAsQuestionMarks) {
    for (int code = 0; code < 0x20; ++code) {
        const std::string text(1, static_cast<char>(code));
        EXPECT_FALSE(is_protocol_text(text)) << code;
        EXPECT_EQ(printable(text), "?") << code;
    }
    EXPECT_FALSE(is_protocol_text("\x7F"));
    EXPECT_EQ(printable("\x7F"), "?");
    for (int code = 0x80; code < 0xA0; ++code) {
        const std::string text = {'\xC2', static_cast<char>(code)};
        EXPECT_FALSE(is_protocol_text(text)) << code;
        EXPECT_EQ(printable(text), "?") << code;
    }
}

TEST(PeerText, WhatIsNoUtf8IsRefusedAndShownAsQuestionMarks) {
    for (const char* text : k_malformed) {
        EXPECT_FALSE(is_protocol_text(text));
        EXPECT_FALSE(is_protocol_text(std::string("a") + text));
        EXPECT_EQ(printable(text).find_first_not_of("?("), std::string::npos) << printable(text);
    }
    EXPECT_EQ(printable("Jos\xE9"), "Jos?");
    EXPECT_EQ(printable("\xC3(\xC3\xB1"), "?(ñ");
}

TEST(PeerText, OtherTextsAreShownAsTheyAre) {
    EXPECT_EQ(printable(""), "");
    EXPECT_EQ(printable("\"José\" 🎧\\"), "\"José\" 🎧\\");
}

TEST(PeerText, IsShortenedByCharacters) {
    EXPECT_EQ(shortened("señal", 5), "señal");
    EXPECT_EQ(shortened("señal", 3), "señ...");
    EXPECT_EQ(shortened("🎧🎧", 1), "🎧...");
    EXPECT_EQ(shortened("\xFF\xFFx", 2), "\xFF\xFF...");
    EXPECT_EQ(shortened("", 3), "");
    EXPECT_EQ(shortened("x", 0), "...");
}

} // namespace
