// Fixed text buffers: cuts, terminators, overlaps.
#include "base/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <span>
#include <string>

namespace {

TEST(CopyText, CopiesATextThatFits) {
    char buffer[8] = "xxxxxxx";
    copy_text(buffer, "abc");
    EXPECT_STREQ(buffer, "abc");
}

TEST(CopyText, CutsToTheSizeLessOneAndTerminates) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    copy_text(buffer, "abcd");
    EXPECT_STREQ(buffer, "abc");
    copy_text(buffer, "abc");
    EXPECT_STREQ(buffer, "abc");
}

TEST(CopyText, OneByteBufferHoldsTheEmptyText) {
    char buffer[1] = {'x'};
    copy_text(buffer, "abc");
    EXPECT_EQ(buffer[0], '\0');
}

TEST(CopyText, EmptyTextLeavesOnlyTheTerminator) {
    char buffer[4] = "abc";
    copy_text(buffer, "");
    EXPECT_STREQ(buffer, "");
    copy_text(buffer, std::string_view());
    EXPECT_STREQ(buffer, "");
}

TEST(CopyText, WritesNothingPastTheTerminator) {
    char buffer[6] = {'1', '2', '3', '4', '5', '6'};
    copy_text(buffer, 4, "abcdef");
    EXPECT_EQ(std::string(buffer, 6), std::string("abc\00056", 6));
}

TEST(CopyText, CutMaySplitAUtf8Character) {
    char buffer[3];
    copy_text(buffer, "a\xC3\xB1");
    EXPECT_EQ(std::string(buffer), "a\xC3");
}

TEST(CopyText, TextMayLieInsideTheBuffer) {
    char buffer[8] = "abcdefg";
    copy_text(buffer, buffer + 2);
    EXPECT_STREQ(buffer, "cdefg");
    copy_text(buffer, buffer);
    EXPECT_STREQ(buffer, "cdefg");
}

TEST(CopyText, SpanTakesTheTextCutToItsSizeLessOne) {
    char buffer[6] = {'1', '2', '3', '4', '5', '6'};
    copy_text(std::span<char>(buffer).first(4), "abcdef");
    EXPECT_EQ(std::string(buffer, 6), std::string("abc\00056", 6));
}

TEST(CopyText, EmptySpanTakesNothing) {
    char buffer[3] = {'x', 'y', 'z'};
    copy_text(std::span<char>(buffer).subspan(1, 0), "abc");
    EXPECT_EQ(std::string(buffer, 3), "xyz");
    copy_text(std::span<char>(), "abc");
}

TEST(FormatText, SaysWhetherTheTextFitted) {
    char buffer[6];
    EXPECT_TRUE(format_text(buffer, "%d-%s", 12, "ab"));
    EXPECT_STREQ(buffer, "12-ab");
    EXPECT_FALSE(format_text(buffer, "%d-%s", 12, "abc"));
    EXPECT_STREQ(buffer, "12-ab");
}

TEST(FormatText, UnderstandsTheFormatsOfEverySystem) {
    char buffer[64];
    EXPECT_TRUE(format_text(buffer, "%zu %llu %lld", std::size_t{7}, ULLONG_MAX, LLONG_MIN));
    EXPECT_STREQ(buffer, "7 18446744073709551615 -9223372036854775808");
}

TEST(IsEmpty, HoldsForAbsentAndEmptyTexts) {
    EXPECT_TRUE(is_empty(nullptr));
    EXPECT_TRUE(is_empty(""));
    EXPECT_FALSE(is_empty(" "));
}

TEST(OrEmpty, StandsForAnAbsentTextOnly) {
    EXPECT_STREQ(or_empty(nullptr), "");
    const char* const text = "abc";
    EXPECT_EQ(or_empty(text), text);
}

TEST(FirstFilled, PassesOverAbsentAndEmptyTexts) {
    const char* const otherwise = "other";
    EXPECT_EQ(first_filled(nullptr, otherwise), otherwise);
    EXPECT_EQ(first_filled("", otherwise), otherwise);
    EXPECT_STREQ(first_filled(" ", otherwise), " ");
    EXPECT_EQ(first_filled("", nullptr), nullptr);
}

} // namespace
