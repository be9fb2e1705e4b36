// Letters of ASCII in any case.
#include "base/ascii.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Ascii, OnlyItsLargeLettersHaveSmallOnes) {
    for (int value = 0; value < 256; ++value) {
        const int expected = value >= 65 && value <= 90 ? value + 32 : value;
        EXPECT_EQ(ascii_lower(static_cast<char>(value)), static_cast<char>(expected)) << value;
    }
}

TEST(Ascii, OnlyItsSmallLettersHaveLargeOnes) {
    for (int value = 0; value < 256; ++value) {
        const int expected = value >= 97 && value <= 122 ? value - 32 : value;
        EXPECT_EQ(ascii_upper(static_cast<char>(value)), static_cast<char>(expected)) << value;
    }
}

TEST(Ascii, LettersAndDigitsAreThoseOfAsciiOnly) {
    std::string lower;
    std::string upper;
    std::string digits;
    for (int value = 0; value < 256; ++value) {
        const char byte = static_cast<char>(value);
        lower += is_ascii_lower(byte) ? std::string(1, byte) : "";
        upper += is_ascii_upper(byte) ? std::string(1, byte) : "";
        digits += is_ascii_digit(byte) ? std::string(1, byte) : "";
        EXPECT_EQ(is_ascii_letter(byte), is_ascii_lower(byte) || is_ascii_upper(byte)) << value;
    }
    EXPECT_EQ(lower, "abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(upper, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(digits, "0123456789");
}

TEST(Ascii, EqualsInAnyCaseAndInTheWhole) {
    EXPECT_TRUE(ascii_equals("Text/HTML", "text/html"));
    EXPECT_TRUE(ascii_equals("", ""));
    EXPECT_FALSE(ascii_equals("text/htm", "text/html"));
    EXPECT_FALSE(ascii_equals("text/htmlx", "text/html"));
}

TEST(Ascii, BeginsWithItsPrefixInAnyCase) {
    EXPECT_TRUE(ascii_begins_with("HtTp://x", "http://"));
    EXPECT_TRUE(ascii_begins_with("HTTP://", "http://"));
    EXPECT_TRUE(ascii_begins_with("x", ""));
    EXPECT_FALSE(ascii_begins_with("http:/", "http://"));
    EXPECT_FALSE(ascii_begins_with("xhttp://", "http://"));
    EXPECT_FALSE(ascii_begins_with("http:\x0F\x0F", "http://"));
    EXPECT_FALSE(ascii_begins_with("", "h"));
}

} // namespace
