// Walking the objects of a list.
#include "unit/backend/json_texts.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Texts = std::vector<std::string>;

/// All objects that a walk over `text` finds from `from` on; from the start for -1.
Texts walk(std::string_view text, std::ptrdiff_t from = -1) {
    const ExactText exact(text);
    Texts found;
    const char* cursor = from < 0 ? nullptr : exact.begin() + from;
    const char* start = nullptr;
    const char* end = nullptr;
    while (find_next_top_level_json_object(exact.begin(), &cursor, &start, &end)) {
        EXPECT_EQ(cursor, end + 1);
        found.emplace_back(start, end + 1);
    }
    return found;
}

TEST(JsonWalk, ReturnsTheElementsOfAWrappedList) {
    EXPECT_EQ(walk(R"({"spaces":[{"a":1},{"b":[{"c":2}]}]})"),
              (Texts{R"({"a":1})", R"({"b":[{"c":2}]})"}));
}

TEST(JsonWalk, ReturnsTheElementsOfABareList) {
    EXPECT_EQ(walk(R"([{"a":1},{"b":{"c":{}}},{}])"),
              (Texts{R"({"a":1})", R"({"b":{"c":{}}})", "{}"}));
}

TEST(JsonWalk, FindsNothingOutsideAnArray) {
    EXPECT_EQ(walk(R"({"x":{"y":1}})"), Texts());
    EXPECT_EQ(walk(""), Texts());
    EXPECT_EQ(walk("[]"), Texts());
    EXPECT_EQ(walk("[1,2,\"x\"]"), Texts());
}

TEST(JsonWalk, DeeperArraysHoldNoElements) {
    EXPECT_EQ(walk(R"([[{"a":1}],{"b":2}])"), Texts{R"({"b":2})"});
}

TEST(JsonWalk, BracketsWithinAValueDoNotDisturb) {
    EXPECT_EQ(walk(R"([{"a":"]}["},{"b":"\"}]"},{"c":"\\"}])"),
              (Texts{R"({"a":"]}["})", R"({"b":"\"}]"})", R"({"c":"\\"})"}));
}

TEST(JsonWalk, BackslashOutsideAStringEscapesNothing) {
    EXPECT_EQ(walk(R"([\"{]}",{"a":1}])"), Texts{R"({"a":1})"});
}

TEST(JsonWalk, ResumedWalkStopsAtTheEndOfTheList) {
    EXPECT_EQ(walk(R"({"a":[{"x":1}],"b":[{"y":2}]})"), Texts{R"({"x":1})"});
}

TEST(JsonWalk, WalkFromTheStartGoesOnToLaterArrays) {
    EXPECT_EQ(walk(R"({"a":[],"b":[1],"c":[{"y":2}]})"), Texts{R"({"y":2})"});
}

TEST(JsonWalk, CursorAtTheStartIsNoResumedWalk) {
    EXPECT_EQ(walk(R"({"a":[{"x":1}]})", 0), Texts{R"({"x":1})"});
}

TEST(JsonWalk, AnyOtherCursorIsInsideTheList) {
    EXPECT_EQ(walk(R"( {"x":1},{"y":2}])", 1), (Texts{R"({"x":1})", R"({"y":2})"}));
    EXPECT_EQ(walk(R"( 1],[{"y":2}])", 1), Texts());
}

TEST(JsonWalk, UnfinishedObjectIsNone) {
    EXPECT_EQ(walk(R"([{"a":1},{"b":2)"), Texts{R"({"a":1})"});
    EXPECT_EQ(walk(R"([{"a":"}])"), Texts());
    EXPECT_EQ(walk(R"([{"a":"\)"), Texts());
}

TEST(JsonWalk, LeavesEverythingWhenThereIsNoMore) {
    const char* const text = R"({"x":{"y":1}})";
    const char* cursor = nullptr;
    const char* start = text + 1;
    const char* end = text + 2;
    EXPECT_FALSE(find_next_top_level_json_object(text, &cursor, &start, &end));
    EXPECT_EQ(cursor, nullptr);
    EXPECT_EQ(start, text + 1);
    EXPECT_EQ(end, text + 2);
}

// Arrays count however deep in objects, so brackets that cross braces are taken as they come.
TEST(JsonWalk, CrossedBracketsAreTakenAsTheyCome) {
    EXPECT_EQ(walk("[{]x[}]"), Texts{"{]x[}"});
    EXPECT_EQ(walk("[{[}]{}]"), Texts{"{}"}) << "the first brace was closed in another array";
    EXPECT_EQ(walk("]]]}}}[{}]"), Texts{"{}"});
    EXPECT_EQ(walk("[{},{],[}]"), (Texts{"{}", "{],[}"})) << "an open object keeps the walk on";
}

TEST(JsonWalk, ElementsLongerThanAnyBlockAreWhole) {
    for (const std::size_t length : {1u, 15u, 16u, 17u, 255u, 256u, 257u, 5000u, 40000u}) {
        const std::string element = "{\"a\":\"" + std::string(length, '}') + "\"}";
        EXPECT_EQ(walk("[" + element + "," + element + "]"), (Texts{element, element})) << length;
    }
}

TEST(JsonWalk, EscapesAreKnownWhereverTheyStand) {
    for (std::size_t before = 0; before < 600; ++before) {
        const std::string element = "{\"a\":\"" + std::string(before, '.') + R"(\"}\\"})";
        ASSERT_EQ(walk("[" + element + "]"), Texts{element}) << before;
    }
}

TEST(JsonWalk, RefusesNullArguments) {
    const char* const text = "[{}]";
    const char* cursor = nullptr;
    const char* start = nullptr;
    const char* end = nullptr;
    EXPECT_FALSE(find_next_top_level_json_object(nullptr, &cursor, &start, &end));
    EXPECT_FALSE(find_next_top_level_json_object(text, nullptr, &start, &end));
    EXPECT_FALSE(find_next_top_level_json_object(text, &cursor, nullptr, &end));
    EXPECT_FALSE(find_next_top_level_json_object(text, &cursor, &start, nullptr));
    EXPECT_EQ(cursor, nullptr);
}

} // namespace
