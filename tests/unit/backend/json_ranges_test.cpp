// Reading fields of one element, between its first byte and its end.
#include "unit/backend/json_texts.h"

#include <gtest/gtest.h>

namespace {

const Extracted k_none{false, ""};

Extracted value(const std::string& text) {
    return {true, text};
}

TEST(JsonStringInRange, ReadsFromItsOwnElement) {
    const ExactText text(R"([{"id":"1"},{"id":"2","name":"b"}])");
    const char* cursor = nullptr;
    const char* start = nullptr;
    const char* end = nullptr;
    ASSERT_TRUE(find_next_top_level_json_object(text.begin(), &cursor, &start, &end));
    char out[8] = "before";
    EXPECT_FALSE(extract_json_string_field_in_range(start, end + 1, "name", out));
    EXPECT_STREQ(out, "");
    ASSERT_TRUE(find_next_top_level_json_object(text.begin(), &cursor, &start, &end));
    EXPECT_TRUE(extract_json_string_field_in_range(start, end + 1, "name", out));
    EXPECT_STREQ(out, "b");
}

TEST(JsonStringInRange, EmptiesTheBufferEvenWithoutAMatch) {
    EXPECT_EQ(string_field_until(10, R"({"id":"7"})", "name"), k_none);
}

TEST(JsonStringInRange, LeavesTheBufferWhenRefused) {
    const char* const text = R"({"id":"7"})";
    char out[8] = "before";
    EXPECT_FALSE(extract_json_string_field_in_range(nullptr, text + 10, "id", out));
    EXPECT_FALSE(extract_json_string_field_in_range(text, nullptr, "id", out));
    EXPECT_FALSE(extract_json_string_field_in_range(text, text + 10, nullptr, out));
    EXPECT_FALSE(extract_json_string_field_in_range(text, text + 10, "id", {}));
    EXPECT_FALSE(extract_json_string_field_in_range(text, text + 10, "id", {out, 0}));
    EXPECT_FALSE(extract_json_string_field_in_range(text, text, "id", out));
    EXPECT_FALSE(extract_json_string_field_in_range(text + 5, text, "id", out));
    EXPECT_STREQ(out, "before");
}

// The value of {"id":"789"} begins at byte 7.
TEST(JsonStringInRange, ValueBeginsAndEndsBeforeTheEnd) {
    const char* const text = R"({"id":"789"})";
    EXPECT_EQ(string_field_until(1, text, "id"), k_none) << "the key begins at the end";
    EXPECT_EQ(string_field_until(4, text, "id"), k_none) << "the end cuts the key";
    EXPECT_EQ(string_field_until(7, text, "id"), k_none) << "the value begins at the end";
    EXPECT_EQ(string_field_until(8, text, "id"), value("7"));
    EXPECT_EQ(string_field_until(9, text, "id"), value("78"));
    EXPECT_EQ(string_field_until(12, text, "id"), value("789"));
}

TEST(JsonStringInRange, EscapeIsWholeOrNone) {
    const char* const text = R"({"id":"a\"b"})"; // the backslash is byte 8
    EXPECT_EQ(string_field_until(9, text, "id"), value("a\\")) << "the escaped byte is outside";
    EXPECT_EQ(string_field_until(10, text, "id"), value("a\""));
    EXPECT_EQ(string_field_until(11, text, "id"), value("a\"b"));
}

TEST(JsonStringInRange, BackslashAtTheEndOfTheTextIsKept) {
    EXPECT_EQ(string_field_until(9, R"({"id":"a\)", "id"), value("a\\"));
}

TEST(JsonStringInRange, NulBeforeTheEndEndsTheText) {
    const std::string text("{\"id\":\"a\0bc\",\"name\":\"x\"}", 24);
    EXPECT_EQ(string_field_until(24, text, "id"), value("a"));
    EXPECT_EQ(string_field_until(24, text, "name"), k_none);
}

TEST(JsonStringInRange, CutsToTheBuffer) {
    const std::string text = "{\"id\":\"" + std::string(100, 'x') + "\"}";
    EXPECT_EQ(string_field_until(text.size(), text, "id", 64), value(std::string(63, 'x')));
    EXPECT_EQ(string_field_until(text.size(), text, "id", 1), k_none);
    for (std::size_t length = 1; length < 63; ++length) {
        EXPECT_EQ(string_field_until(7 + length, text, "id", 64), value(std::string(length, 'x')));
    }
}

TEST(JsonStringInRange, FirstOccurrenceDecides) {
    const char* const text = R"({"id":"","id":"7"})";
    EXPECT_EQ(string_field_until(18, text, "id"), k_none);
}

TEST(JsonStringInRange, LongKeyIsCutTogetherWithWhatFollowsIt) {
    const std::string key(126, 'k');
    const std::string text = "{\"" + key + "rest\":1}";
    EXPECT_EQ(string_field_until(128, text, key), k_none) << "the value begins at the end";
    EXPECT_EQ(string_field_until(130, text, key), value("re"));
}

TEST(JsonBoolInRange, ValueEndsBeforeTheEnd) {
    const char* const yes = R"({"on":true})"; // bytes 6 to 9
    EXPECT_EQ(bool_field_until(10, yes, "on"), "true");
    for (std::size_t end = 1; end < 10; ++end) {
        EXPECT_EQ(bool_field_until(end, yes, "on"), "untouched") << end;
    }
    const char* const no = R"({"on":false})"; // bytes 6 to 10
    EXPECT_EQ(bool_field_until(11, no, "on"), "false");
    for (std::size_t end = 1; end < 11; ++end) {
        EXPECT_EQ(bool_field_until(end, no, "on"), "untouched") << end;
    }
}

TEST(JsonBoolInRange, BlanksCountTowardsTheEnd) {
    const char* const text = "{\"on\": \t true}"; // bytes 9 to 12
    EXPECT_EQ(bool_field_until(13, text, "on"), "true");
    EXPECT_EQ(bool_field_until(12, text, "on"), "untouched");
    EXPECT_EQ(bool_field_until(8, text, "on"), "untouched") << "the end lies in the blanks";
    EXPECT_EQ(bool_field_until(9, "{\"on\":\n  true}", "on"), "untouched");
}

TEST(JsonBoolInRange, OtherElementsAreNotLookedAt) {
    EXPECT_EQ(bool_field_until(9, R"([{"a":1},{"on":true}])", "on"), "untouched");
    EXPECT_EQ(bool_field_until(20, R"({"on":"yes","on":true})", "on"), "untouched")
        << "the first occurrence decides";
}

TEST(JsonBoolInRange, NulBeforeTheEndEndsTheText) {
    const std::string text("{\"on\":tr\0ue,\"off\":true}", 23);
    EXPECT_EQ(bool_field_until(23, text, "on"), "untouched");
    EXPECT_EQ(bool_field_until(23, text, "off"), "untouched");
}

TEST(JsonBoolInRange, RefusesNullArgumentsAndEmptyRanges) {
    const char* const text = R"({"on":false})";
    bool out = true;
    EXPECT_FALSE(extract_json_bool_field_in_range(nullptr, text + 12, "on", &out));
    EXPECT_FALSE(extract_json_bool_field_in_range(text, nullptr, "on", &out));
    EXPECT_FALSE(extract_json_bool_field_in_range(text, text + 12, nullptr, &out));
    EXPECT_FALSE(extract_json_bool_field_in_range(text, text + 12, "on", nullptr));
    EXPECT_FALSE(extract_json_bool_field_in_range(text, text, "on", &out));
    EXPECT_FALSE(extract_json_bool_field_in_range(text + 12, text, "on", &out));
    EXPECT_TRUE(out);
}

} // namespace
