// Escaping what is sent, compacting what was received, and counting.
#include "unit/backend/json_texts.h"

#include <gtest/gtest.h>

namespace {

using Converter = void (*)(const char*, std::span<char>);

/// What a converter leaves in a buffer of `capacity` bytes that held "#before".
std::string converted(Converter convert, std::string_view in, std::size_t capacity = 64) {
    const ExactText exact(in);
    const auto out = std::make_unique<char[]>(capacity);
    const std::string_view before = "#before";
    std::copy_n(before.begin(), std::min(before.size(), capacity), out.get());
    convert(exact.begin(), {out.get(), capacity});
    return {out.get()};
}

std::string escaped(std::string_view in, std::size_t capacity = 64) {
    return converted(json_escape, in, capacity);
}

std::string compacted(std::string_view in, std::size_t capacity = 64) {
    return converted(compact_json_for_scan, in, capacity);
}

TEST(JsonEscape, MarksBackslashQuoteAndLineFeed) {
    EXPECT_EQ(escaped("a\"b\\c\nd"), R"(a\"b\\c\nd)");
}

TEST(JsonEscape, CopiesAllOtherBytes) {
    EXPECT_EQ(escaped("/\r\t\x01\x7F ñ\xFF"), "/\r\t\x01\x7F ñ\xFF");
    EXPECT_EQ(escaped(""), "");
}

TEST(JsonEscape, StopsTwoBytesBeforeTheEndOfTheBuffer) {
    EXPECT_EQ(escaped("abcdef", 8), "abcdef");
    EXPECT_EQ(escaped("abcdef", 7), "abcde");
    EXPECT_EQ(escaped("abcdef", 3), "a");
    EXPECT_EQ(escaped("abcdef", 2), "");
    EXPECT_EQ(escaped("abcdef", 1), "");
}

TEST(JsonEscape, NeverSplitsAnEscape) {
    EXPECT_EQ(escaped("\"\"\"", 3), "\\\"");
    EXPECT_EQ(escaped("\"\"\"", 4), "\\\"");
    EXPECT_EQ(escaped("\"\"\"", 5), "\\\"\\\"");
    EXPECT_EQ(escaped("ab\nc", 4), "ab");
    EXPECT_EQ(escaped("ab\nc", 5), "ab\\n") << "the last escape fills the buffer";
}

TEST(JsonEscape, DoesNothingWithoutInputOrRoom) {
    char out[8] = "before";
    json_escape(nullptr, out);
    json_escape("x", {});
    json_escape("x", {out, 0});
    EXPECT_STREQ(out, "before");
}

TEST(JsonEscape, IsUndoneByTheStringExtractorButForLineFeeds) {
    const std::string original = R"(a "quoted" \ text)";
    EXPECT_EQ(string_field("{\"text\":\"" + escaped(original) + "\"}", "text").value, original);
}

TEST(JsonCompact, DropsWhatStandsBetweenTokens) {
    EXPECT_EQ(compacted("{\r\n\t\"a\" : [ 1 , true ]\n}\n"), "{\"a\":[1,true]}");
    EXPECT_EQ(compacted("\v\f{"), "\v\f{") << "other control bytes stay";
}

TEST(JsonCompact, KeepsStringsAsTheyAre) {
    EXPECT_EQ(compacted("{ \"a b\" : \"c \\\" \t d\\\\\" , \"e\" : 1 }"),
              "{\"a b\":\"c \\\" \t d\\\\\",\"e\":1}");
}

TEST(JsonCompact, BackslashOutsideAStringEscapesNothing) {
    EXPECT_EQ(compacted("\\\" a \" b"), "\\\" a \"b");
}

TEST(JsonCompact, UnendedStringKeepsTheRest) {
    EXPECT_EQ(compacted("{ \"a b"), "{\"a b");
}

TEST(JsonCompact, IsCutToTheBuffer) {
    EXPECT_EQ(compacted("a b c d", 4), "abc");
    EXPECT_EQ(compacted("a b c d", 1), "");
}

TEST(JsonCompact, WithoutInputTheBufferIsEmptied) {
    char out[8] = "before";
    compact_json_for_scan(nullptr, out);
    EXPECT_STREQ(out, "");
}

TEST(JsonCompact, DoesNothingWithoutRoom) {
    char out[8] = "before";
    compact_json_for_scan("x", {});
    compact_json_for_scan("x", {out, 0});
    EXPECT_STREQ(out, "before");
}

TEST(JsonCount, CountsWithoutOverlaps) {
    EXPECT_EQ(count_json_field_occurrences("aaaaa", "aa"), 2);
    EXPECT_EQ(count_json_field_occurrences("aaaaa", "a"), 5);
    EXPECT_EQ(count_json_field_occurrences("aaaaa", "b"), 0);
    EXPECT_EQ(count_json_field_occurrences("", "b"), 0);
    EXPECT_EQ(count_json_field_occurrences("b", "bb"), 0);
}

TEST(JsonCount, CountsTheMessagesOfAHistory) {
    std::string history = "{\"messages\":[";
    for (int i = 0; i < 1000; ++i) {
        history += R"({"text":"text","sender":"texto"},)";
    }
    const ExactText exact(history);
    EXPECT_EQ(count_json_field_occurrences(exact.begin(), "\"text\":\""), 1000);
}

TEST(JsonCount, TakesNeedlesLongerThanAnyBlock) {
    const std::string needle = std::string(20000, 'x') + "y";
    const ExactText text("x" + needle + "." + needle + std::string(20000, 'x'));
    EXPECT_EQ(count_json_field_occurrences(text.begin(), needle.c_str()), 2);
}

TEST(JsonCount, IsNoneWithoutTextOrNeedle) {
    EXPECT_EQ(count_json_field_occurrences(nullptr, "a"), 0);
    EXPECT_EQ(count_json_field_occurrences("a", nullptr), 0);
    EXPECT_EQ(count_json_field_occurrences("a", ""), 0);
}

} // namespace
