// UTF-8 characters: what is one, and the length of a cut text in whole ones.
#include "base/utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
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

TEST(Utf8, BytesThatBeginNoCharacterStay) {
    for (const std::string text :
         {"\xC0", "a\xC1", "\xF5", "\xF8\x80", "\xFE", "a\xFF", "\xE0\x80", "\xE0\x9F", "\xED\xA0",
          "\xF0\x80", "\xF0\x8F\xBF", "\xF4\x90", "\xF4\x90\x80"}) {
        EXPECT_EQ(length_in_whole_characters(text), text.size());
        EXPECT_EQ(first_utf8_character(text.substr(text.find_first_not_of('a'))).length, 0U);
    }
}

TEST(Utf8, EveryCharacterIsOneAndItsBeginningsAreCut) {
    for (std::uint32_t code = 1; code <= 0x10FFFF; code += code < 0x1000 ? 1 : 0x3F) {
        std::string text;
        const auto add = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
        if (code < 0x80) {
            add(code);
        } else if (code < 0x800) {
            add(0xC0 | code >> 6);
        } else if (code < 0x10000) {
            add(0xE0 | code >> 12);
            add(0x80 | (code >> 6 & 0x3F));
        } else {
            add(0xF0 | code >> 18);
            add(0x80 | (code >> 12 & 0x3F));
            add(0x80 | (code >> 6 & 0x3F));
        }
        if (code >= 0x80) {
            add(0x80 | (code & 0x3F));
        }
        const bool is_half_of_a_pair = code >= 0xD800 && code <= 0xDFFF;
        ASSERT_EQ(is_utf8("a" + text + "b"), !is_half_of_a_pair) << code;
        ASSERT_EQ(first_utf8_character(text + "x").length, is_half_of_a_pair ? 0 : text.size());
        for (std::size_t bytes = 1; bytes < text.size(); ++bytes) {
            const std::string cut = text.substr(0, bytes);
            const Utf8Character character = first_utf8_character(cut);
            ASSERT_FALSE(is_utf8(cut)) << code;
            if (!is_half_of_a_pair) {
                ASSERT_EQ(character.length, text.size()) << code;
                ASSERT_FALSE(character.is_whole) << code;
                ASSERT_EQ(length_in_whole_characters("a" + cut), 1U) << code;
            }
        }
    }
}

TEST(Utf8, NoTextOfTwoBytesIsJudgedTwoWays) {
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const std::string text{static_cast<char>(first), static_cast<char>(second)};
            const Utf8Character character = first_utf8_character(text);
            const bool is_start = character.length > 0 && !character.is_whole;
            EXPECT_EQ(is_start, length_in_whole_characters(text) == 0) << first << " " << second;
        }
    }
}

TEST(Utf8, NothingIsNoCharacterAndAZeroByteIsOne) {
    EXPECT_EQ(first_utf8_character("").length, 0U);
    EXPECT_TRUE(is_utf8(""));
    EXPECT_TRUE(is_utf8(std::string("a\0b", 3)));
    EXPECT_FALSE(is_utf8("a\xFF"));
}

TEST(Utf8, IsKnownToTheCompiler) {
    static_assert(length_in_whole_characters("a\xC3") == 1);
    static_assert(is_utf8("ñ"));
}

} // namespace
