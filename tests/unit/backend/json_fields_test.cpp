// Reading single fields from a whole text.
#include "support/allocation_counter.h"
#include "unit/backend/json_texts.h"

#include <gtest/gtest.h>

namespace {

const Extracted k_missing{false, "before"};
const Extracted k_empty{false, ""};

Extracted value(const std::string& text) {
    return {true, text};
}

TEST(JsonStringField, IsTheFirstOneInTheTextHoweverDeep) {
    EXPECT_EQ(string_field(R"({"user":{"id":"7"},"id":"3"})", "id"), value("7"));
    EXPECT_EQ(string_field(R"({"note":"x\"id":"y","id":"3"})", "id"), value("y"))
        << "inside another value, too";
}

TEST(JsonStringField, AllowsNoBlankAfterTheColon) {
    EXPECT_EQ(string_field(R"({"id": "7"})", "id"), k_missing);
    EXPECT_EQ(string_field(R"({"id" :"7"})", "id"), k_missing);
    EXPECT_EQ(string_field(R"({"id": "7","id":"8"})", "id"), value("8"));
}

TEST(JsonStringField, IsFoundAfterCompaction) {
    char compact[64];
    compact_json_for_scan("{ \"id\" :\r\n\t\"7 8\" }", compact);
    EXPECT_EQ(string_field(compact, "id"), value("7 8"));
}

TEST(JsonStringField, DropsABackslashAndKeepsWhatFollows) {
    EXPECT_EQ(string_field(R"({"name":"a\"b"})", "name"), value("a\"b"));
    EXPECT_EQ(string_field(R"({"name":"line\nbreak"})", "name"), value("linenbreak"));
    EXPECT_EQ(string_field(R"({"name":"\\\/\u00e9\\"})", "name"), value("\\/u00e9\\"));
    EXPECT_EQ(string_field(R"({"name":"0123456789abcdef\"0123456789abcdef0123\\"})", "name"),
              value("0123456789abcdef\"0123456789abcdef0123\\"));
}

TEST(JsonStringField, KeepsABackslashThatEndsTheText) {
    EXPECT_EQ(string_field(R"({"name":"a\)", "name"), value("a\\"));
    EXPECT_EQ(string_field(R"({"name":"\)", "name"), value("\\"));
}

TEST(JsonStringField, EndsWithTheText) {
    EXPECT_EQ(string_field(R"({"name":"abc)", "name"), value("abc"));
    EXPECT_EQ(string_field(R"({"name":")", "name"), k_empty);
}

TEST(JsonStringField, CopiesBytesAboveAsciiAsTheyAre) {
    EXPECT_EQ(string_field("{\"name\":\"Año \xF0\x9F\x8E\xA7 \xFF\"}", "name"),
              value("Año \xF0\x9F\x8E\xA7 \xFF"));
}

TEST(JsonStringField, LongValueIsCutSilently) {
    const std::string text = "{\"name\":\"" + std::string(300, 'x') + "\"}";
    EXPECT_EQ(string_field(text, "name", 64), value(std::string(63, 'x')));
}

TEST(JsonStringField, FitsEveryBufferExactly) {
    const std::string whole = "0123456789abcdefghijklmnopqrstuvwxyz";
    const std::string text = "{\"name\":\"" + whole + "\"}";
    for (std::size_t capacity = 2; capacity < 50; ++capacity) {
        EXPECT_EQ(string_field(text, "name", capacity), value(whole.substr(0, capacity - 1)));
    }
    EXPECT_EQ(string_field(text, "name", 1), k_empty) << "room for the NUL alone";
}

TEST(JsonStringField, CountsAnEscapeAsTheOneByteItGives) {
    EXPECT_EQ(string_field(R"({"name":"a\"b\"c"})", "name", 4), value("a\"b"));
}

TEST(JsonStringField, EmptyValueEmptiesTheBufferAndIsNoSuccess) {
    EXPECT_EQ(string_field(R"({"name":""})", "name"), k_empty);
    EXPECT_EQ(string_field(R"({"name":"","name":"x"})", "name"), k_empty)
        << "the first occurrence counts";
}

TEST(JsonStringField, IsNoNumber) {
    EXPECT_EQ(string_field(R"({"id":5})", "id"), k_missing);
    EXPECT_EQ(string_field(R"({"id":5,"id":"6"})", "id"), value("6"));
}

TEST(JsonStringField, LeavesTheBufferWithoutAMatch) {
    EXPECT_EQ(string_field(R"({"name":"x"})", "nam"), k_missing);
    EXPECT_EQ(string_field(R"({"name":"x"})", "ame"), k_missing);
    EXPECT_EQ(string_field("", "name"), k_missing);
    EXPECT_EQ(string_field("\"name\":", "name"), k_missing) << "a pattern cut short";
}

TEST(JsonStringField, TakesAnEmptyKey) {
    EXPECT_EQ(string_field(R"({"":"x"})", ""), value("x"));
}

TEST(JsonStringField, RefusesNullArgumentsAndNoRoom) {
    char out[8] = "before";
    EXPECT_FALSE(extract_json_string_field(nullptr, "id", out));
    EXPECT_FALSE(extract_json_string_field(R"({"id":"7"})", nullptr, out));
    EXPECT_FALSE(extract_json_string_field(R"({"id":"7"})", "id", {}));
    EXPECT_FALSE(extract_json_string_field(R"({"id":"7"})", "id", std::span<char>(out, 0)));
    EXPECT_STREQ(out, "before");
}

TEST(JsonStringField, KeyOf123BytesIsWhole) {
    const std::string key(123, 'k');
    EXPECT_EQ(string_field("{\"" + key + "\":\"x\"}", key), value("x"));
    EXPECT_EQ(string_field("{\"" + key + "k\":\"x\"}", key), k_missing);
}

// Of `"key":"` 127 bytes are looked for, and the value begins behind those.
TEST(JsonStringField, LongerKeyIsCutTogetherWithWhatFollowsIt) {
    const std::string key124(124, 'k');
    EXPECT_EQ(string_field("{\"" + key124 + "\":\"x\"}", key124), k_empty) << "at the open quote";
    EXPECT_EQ(string_field("{\"" + key124 + "\":12}", key124), value("12}"));
    const std::string key125(125, 'k');
    EXPECT_EQ(string_field("{\"" + key125 + "\":\"x\"}", key125), value(":"));
    const std::string key126(126, 'k');
    EXPECT_EQ(string_field("{\"" + key126 + "\":\"x\"}", key126), k_empty);
    EXPECT_EQ(string_field("{\"" + key126 + "rest\":\"x\"}", key126), value("rest"));
    const std::string key400(400, 'k');
    EXPECT_EQ(string_field("{\"" + key126 + "rest\":\"x\"}", key400), value("rest"));
}

// Texts are looked at in blocks that grow: no seam may hide a field.
TEST(JsonStringField, IsFoundWhereverItBegins) {
    for (std::size_t before = 0; before < 20000; before += before < 1200 ? 1 : 7) {
        const std::string text = std::string(before, '"') + "\"name\":\"here\"}";
        ASSERT_EQ(string_field(text, "name"), value("here")) << before;
    }
}

TEST(JsonStringField, IsFoundAcrossEverySeamOfLargeTexts) {
    for (const std::size_t seam : {256, 768, 1792, 3840, 7936, 16128, 24320, 32512}) {
        for (std::size_t back = 0; back <= 16; ++back) {
            const std::string text = std::string(seam - back, ' ') + "\"name\":\"here\"}";
            ASSERT_EQ(string_field(text, "name"), value("here")) << seam << " - " << back;
        }
    }
}

TEST(JsonStringField, FirstOfManyNearMissesIsNoMatch) {
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += R"("name":1,"nama":"x","nime":"y",)";
    }
    EXPECT_EQ(string_field(text, "name"), k_missing);
    EXPECT_EQ(string_field(text + R"("name":"z")", "name"), value("z"));
}

TEST(JsonBoolField, IsTrueOrFalse) {
    EXPECT_EQ(bool_field(R"({"hasImage":true})", "hasImage"), "true");
    EXPECT_EQ(bool_field(R"({"hasImage":false})", "hasImage"), "false");
    EXPECT_EQ(bool_field(R"({"hasImage":truely})", "hasImage"), "true") << "looks no further";
}

TEST(JsonBoolField, AllowsBlanksAndTabsButNoLineBreak) {
    EXPECT_EQ(bool_field("{\"on\": \t  true}", "on"), "true");
    EXPECT_EQ(bool_field("{\"on\":\ntrue}", "on"), "untouched");
    EXPECT_EQ(bool_field("{\"on\": \r\n true}", "on"), "untouched");
    EXPECT_EQ(bool_field("{\"on\" :true}", "on"), "untouched");
}

TEST(JsonBoolField, OtherValuesLeaveItUntouched) {
    for (const char* const other : {"\"true\"", "1", "null", "True", "tru", "fals", "", " "}) {
        EXPECT_EQ(bool_field(std::string("{\"on\":") + other, "on"), "untouched") << other;
    }
    EXPECT_EQ(bool_field(R"({"off":true})", "on"), "untouched");
}

TEST(JsonBoolField, FirstOccurrenceDecidesWhateverItsValue) {
    EXPECT_EQ(bool_field(R"({"on":"yes","on":true})", "on"), "untouched");
    EXPECT_EQ(bool_field(R"({"a":{"on":false},"on":true})", "on"), "false");
}

TEST(JsonBoolField, RefusesNullArguments) {
    bool out = true;
    EXPECT_FALSE(extract_json_bool_field(nullptr, "on", &out));
    EXPECT_FALSE(extract_json_bool_field(R"({"on":false})", nullptr, &out));
    EXPECT_FALSE(extract_json_bool_field(R"({"on":false})", "on", nullptr));
    EXPECT_TRUE(out);
}

TEST(JsonBoolField, KeyOf124BytesIsWholeAndALongerOneIsCut) {
    const std::string key124(124, 'k');
    EXPECT_EQ(bool_field("{\"" + key124 + "\":true}", key124), "true");
    const std::string key125(125, 'k');
    EXPECT_EQ(bool_field("{\"" + key125 + "\":true}", key125), "untouched") << "at the colon";
    EXPECT_EQ(bool_field("{\"" + key125 + "\" true}", key125), "true");
    const std::string key126(126, 'k');
    EXPECT_EQ(bool_field("{\"" + key126 + "false", key126 + "kk"), "false");
}

TEST(JsonFields, AreReadWithoutAllocating) {
    const std::string text = std::string(5000, ' ') + R"("name":"x","on":true)";
    char name[8];
    bool on = false;
    const AllocationCounter counter;
    EXPECT_TRUE(extract_json_string_field(text.c_str(), "name", name));
    EXPECT_TRUE(extract_json_bool_field(text.c_str(), "on", &on));
    EXPECT_EQ(counter.count(), 0);
}

} // namespace
