// Any bytes, made fit for a widget.
#include "ui/display_text.h"

#include <gtest/gtest.h>

namespace {

TEST(DisplayText, LeavesValidTextAsItIs) {
    EXPECT_EQ(display_text("Contraseña 🎤"), "Contraseña 🎤");
    EXPECT_EQ(display_text(""), "");
}

TEST(DisplayText, NullIsEmpty) {
    EXPECT_EQ(display_text(nullptr), "");
}

TEST(DisplayText, DropsACharacterCutAtTheEnd) {
    EXPECT_EQ(display_text("Peñ\xC3"), "Peñ");
    EXPECT_EQ(display_text("mic \xF0\x9F\x8E"), "mic ");
}

TEST(DisplayText, ReplacesBytesThatAreNotUtf8) {
    EXPECT_EQ(display_text("a\xFF"
                           "b"),
              "a\uFFFDb");
    EXPECT_EQ(display_text("\xC3("), "\uFFFD(");
    EXPECT_EQ(display_text("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
}

} // namespace
