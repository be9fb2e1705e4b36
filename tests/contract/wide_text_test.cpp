// The texts of Windows to UTF-8 and back; Windows only.
#include "platform/windows/wide_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;

constexpr std::string_view k_text = "a\xC3\xB1\xE5\x90\x8D\xF0\x9F\x98\x80"; // one to four bytes
constexpr std::wstring_view k_wide = L"a\u00F1\u540D\xD83D\xDE00";

std::string repeated(std::string_view text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::wstring repeated(std::wstring_view text, int count) {
    std::wstring all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

TEST(WideText, BecomesUtf8AndComesBack) {
    EXPECT_EQ(utf8_of(k_wide), k_text);
    EXPECT_EQ(wide_of(k_text), k_wide);
}

TEST(WideText, KeepsTheFirstAndLastCharacterOfEveryLength) {
    EXPECT_EQ(utf8_of(L"\x7F\x80\x7FF\x800\xD7FF\xE000\xFFFF"),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF");
    EXPECT_EQ(utf8_of(L"\xD800\xDC00\xDBFF\xDFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(wide_of("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"),
              L"\x7F\x80\x7FF\x800\xD7FF\xE000\xFFFF");
    EXPECT_EQ(wide_of("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), L"\xD800\xDC00\xDBFF\xDFFF");
}

TEST(WideText, OfNothingIsNothingAndNoFailure) {
    EXPECT_EQ(utf8_of(L""), "");
    EXPECT_EQ(utf8_of({}), "");
    EXPECT_EQ(wide_of(""), L"");
    EXPECT_EQ(wide_of({}), L"");
}

TEST(WideText, GoesOnBehindANul) {
    EXPECT_EQ(utf8_of(L"a\0\u00F1"s), "a\0\xC3\xB1"s);
    EXPECT_EQ(wide_of("a\0\xC3\xB1"s), L"a\0\u00F1"s);
}

TEST(WideText, MayBeLong) {
    EXPECT_EQ(utf8_of(repeated(k_wide, 20000)), repeated(k_text, 20000));
    EXPECT_EQ(wide_of(repeated(k_text, 20000)), repeated(k_wide, 20000));
    // Three bytes for each is the most that the room was counted for.
    EXPECT_EQ(utf8_of(std::wstring(100000, L'\u540D')), repeated("\xE5\x90\x8D", 100000));
}

TEST(WideText, GivesAReplacementForEachHalfCharacter) {
    EXPECT_EQ(utf8_of(L"\xD83D"), "\xEF\xBF\xBD");
    EXPECT_EQ(utf8_of(L"\xDE00"), "\xEF\xBF\xBD");
    EXPECT_EQ(utf8_of(L"a\xD83Dz"), "a\xEF\xBF\xBDz");
    EXPECT_EQ(utf8_of(L"a\xDE00z"), "a\xEF\xBF\xBDz");
    EXPECT_EQ(utf8_of(L"\xDE00\xD83D"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(utf8_of(L"\xD83D\xD83D\xDE00"), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
    EXPECT_EQ(utf8_of(std::wstring(50000, L'\xD83D')), repeated("\xEF\xBF\xBD", 50000));
}

TEST(WideText, RefusesWhatIsNotUtf8) {
    for (const std::string_view text : {
             "\xFF",             // no byte of UTF-8
             "\x80",             // a following byte alone
             "a\xC3",            // a character without its end
             "a\xE5\x90",        // the same
             "\xF0\x9F\x98",     // the same
             "\xC3(",            // a character's end that is none
             "\xC0\xAF",         // a slash in two bytes
             "\xE0\x80\xAF",     // a slash in three
             "\xED\xA0\x80",     // half a character of UTF-16
             "\xF4\x90\x80\x80", // beyond the last character
         }) {
        EXPECT_EQ(wide_of(text), std::nullopt) << testing::PrintToString(text);
        // Wherever it stands.
        EXPECT_EQ(wide_of(repeated(k_text, 1000) + std::string(text)), std::nullopt);
        EXPECT_EQ(wide_of(std::string(text) + "z"), std::nullopt);
    }
}

// Answers as the system does, with a text that may change between two questions.
class Asked {
  public:
    explicit Asked(std::initializer_list<std::wstring> texts) : m_texts(texts) {}

    DWORD operator()(wchar_t* buffer, DWORD size) {
        const std::wstring& text = m_texts[std::min(m_questions++, m_texts.size() - 1)];
        if (text.size() >= size) {
            return static_cast<DWORD>(text.size() + 1);
        }
        std::copy_n(text.c_str(), text.size() + 1, buffer);
        return static_cast<DWORD>(text.size());
    }

  private:
    std::vector<std::wstring> m_texts;
    std::size_t m_questions = 0;
};

TEST(WideText, IsAskedForUntilThereIsRoom) {
    for (const std::size_t size : {0U, 1U, 259U, 260U, 261U, 30000U}) {
        const std::wstring text(size, L'\u00F1');
        EXPECT_EQ(wide_text_from(Asked({text})), text) << size;
    }
    const std::wstring first(300, L'a');
    const std::wstring longer(500, L'b');
    EXPECT_EQ(wide_text_from(Asked({first, longer})), longer);
    EXPECT_EQ(wide_text_from(Asked({first, L"short"})), L"short");
}

} // namespace
