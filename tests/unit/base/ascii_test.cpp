// Letters of ASCII in any case.
#include "base/ascii.h"

#include <gtest/gtest.h>

namespace {

TEST(Ascii, OnlyItsLargeLettersHaveSmallOnes) {
    for (int value = 0; value < 256; ++value) {
        const int expected = value >= 65 && value <= 90 ? value + 32 : value;
        EXPECT_EQ(ascii_lower(static_cast<char>(value)), static_cast<char>(expected)) << value;
    }
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
