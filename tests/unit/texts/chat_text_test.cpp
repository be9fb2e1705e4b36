// The sanitiser of chat messages, which works on characters.
#include "ui/sanitisers.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string sanitised(const std::string& text) {
    return sanitize_chat_text(text.c_str());
}

std::string letters(std::size_t count) {
    return std::string(count, 'x');
}

TEST(SanitizeChatText, ALineFeedBetweenWordsIsOneBlank) {
    EXPECT_EQ(sanitised("uno\ndos"), "uno dos");
    EXPECT_EQ(sanitised("uno\r\n\r\ndos"), "uno dos");
}

TEST(SanitizeChatText, DropsBlanksAroundIt) {
    EXPECT_EQ(sanitised("  \t hola \n "), "hola");
    EXPECT_EQ(sanitised("\u2003hola\u00A0"), "hola");
}

TEST(SanitizeChatText, KeepsTheFirst2046Of3000Letters) {
    EXPECT_EQ(sanitised(letters(3000)), letters(2046));
    EXPECT_EQ(sanitised(letters(2046)), letters(2046));
    EXPECT_EQ(sanitised(letters(2045)), letters(2045));
}

TEST(SanitizeChatText, OfBlanksAndControlCharactersAloneIsEmpty) {
    EXPECT_EQ(sanitised(""), "");
    EXPECT_EQ(sanitised(" \t\n\x01\x7F\u0085\u3000\u2028"), "");
    EXPECT_EQ(sanitised(std::string(5000, ' ')), "");
}

TEST(SanitizeChatText, ControlCharactersAreBlanks) {
    EXPECT_EQ(sanitised("a\x01"
                        "b\x7F"
                        "c\u0085d\u009Fe"),
              "a b c d e");
    EXPECT_EQ(sanitised("a\x01\x02 \x03"
                        "b"),
              "a b");
}

TEST(SanitizeChatText, TheBlanksOfUnicodeAreBlanks) {
    EXPECT_EQ(sanitised("a\u00A0b\u1680c\u2009d\u2028e\u2029f\u202Fg\u205Fh\u3000i"),
              "a b c d e f g h i");
    EXPECT_EQ(sanitised("a\u00A0 \u3000b"), "a b");
}

TEST(SanitizeChatText, KeepsEverythingElse) {
    EXPECT_EQ(sanitised("¡Qué día! \"ñ\" <b> 100 % \\n 🎤"), "¡Qué día! \"ñ\" <b> 100 % \\n 🎤");
    // Joiners and marks that have no width are characters, too.
    EXPECT_EQ(sanitised("👩\u200D🚀 a\u200Bb\uFEFF e\u0301"), "👩\u200D🚀 a\u200Bb\uFEFF e\u0301");
}

TEST(SanitizeChatText, BytesThatAreNotUtf8BecomeReplacementCharacters) {
    EXPECT_EQ(sanitised("a\xFF"
                        "b"),
              "a\uFFFDb");
    EXPECT_EQ(sanitised("\xC3("), "\uFFFD(");
    EXPECT_EQ(sanitised("Peñ\xC3"), "Peñ\uFFFD");
    EXPECT_EQ(sanitised("\xC0\xAF"), "\uFFFD\uFFFD");                     // overlong
    EXPECT_EQ(sanitised("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");           // a surrogate
    EXPECT_EQ(sanitised("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD"); // past the last character
}

TEST(SanitizeChatText, ReplacementCharactersCountAsTheyAreWritten) {
    std::string expected;
    for (int i = 0; i < 2046 / 3; ++i) {
        expected += "\uFFFD";
    }
    EXPECT_EQ(sanitised(std::string(2046, '\xFF')), expected);
}

TEST(SanitizeChatText, ACharacterThatDoesNotFitEndsIt) {
    EXPECT_EQ(sanitised(letters(2044) + "ñ"), letters(2044) + "ñ");
    EXPECT_EQ(sanitised(letters(2045) + "ñ"), letters(2045));
    EXPECT_EQ(sanitised(letters(2042) + "🎤"), letters(2042) + "🎤");
    EXPECT_EQ(sanitised(letters(2043) + "🎤"), letters(2043));
}

TEST(SanitizeChatText, NothingFollowsACharacterThatDidNotFit) {
    EXPECT_EQ(sanitised(letters(2045) + "ñz"), letters(2045));
    EXPECT_EQ(sanitised(letters(2044) + "🎤z z"), letters(2044));
}

TEST(SanitizeChatText, ABlankAtTheLimitIsNotItsEnd) {
    EXPECT_EQ(sanitised(letters(2045) + " z"), letters(2045));
    EXPECT_EQ(sanitised(letters(2046) + " z"), letters(2046));
    EXPECT_EQ(sanitised(letters(2046) + "  "), letters(2046));
    EXPECT_EQ(sanitised(letters(2044) + " z"), letters(2044) + " z");
    EXPECT_EQ(sanitised(letters(2044) + " 🎤"), letters(2044));
}

TEST(SanitizeChatText, BlanksThatAreDroppedDoNotCount) {
    EXPECT_EQ(sanitised(std::string(3000, '\n') + "hola" + std::string(3000, ' ') + "Ana"),
              "hola Ana");
}

} // namespace
