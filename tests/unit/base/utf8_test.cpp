// The length of a cut text in whole characters.
#include "base/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Utf8, WholeTextsStay) {
    for (const std::string text : {"", "a", "ab", "ñ", "añ", "€", "x€", "😀", "ab😀"}) {
        EXPECT_EQ(length_in_whole_characters(text), text.size()) << text;
    }
}

TEST(Utf8, CharacterWithoutAllItsBytesGoes) {
    for (const std::string character : {"ñ", "€", "😀"}) {
        for (std::size_t bytes = 1; bytes < character.size(); ++bytes) {
            for (const std::string before : {"", "a", "ñ", "😀"}) {
                EXPECT_EQ(length_in_whole_characters(before + character.substr(0, bytes)),
                          before.size());
            }
        }
    }
}

TEST(Utf8, WhatIsNoCharacterStays) {
    for (const std::string text : {"\x80", "\x80\x80\x80\x80\x80", "a\xBF", "\xC3\xB1\x80"}) {
        EXPECT_EQ(length_in_whole_characters(text), text.size());
    }
}

TEST(Utf8, LengthIsKnownToTheCompiler) {
    static_assert(length_in_whole_characters("a\xC3") == 1);
}

} // namespace
