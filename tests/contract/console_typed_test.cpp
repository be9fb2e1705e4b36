// The console seam where a person sits at a console, as both systems must behave.
#include "contract/console_typist.h"
#include "platform/console.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr std::string_view k_text = "a\xC3\xB1\xE5\x90\x8D\xF0\x9F\x98\x80"; // one to four bytes

// One console for all tests: a process gets no second one.
class TypedConsole : public testing::Test {
  protected:
    static void SetUpTestSuite() { s_is_open = open_console(); }
    void SetUp() override { ASSERT_TRUE(s_is_open); }

    static std::string read_piece(std::size_t buffer_size) {
        std::vector<char> bytes(buffer_size);
        const std::size_t count = console_read(bytes);
        return {bytes.data(), std::min(count, buffer_size)};
    }

    // To the end of a line, by as many reads as that takes; its break is one byte, or two on
    // Windows.
    static std::string read_line(std::size_t buffer_size) {
        std::string line;
        while (!line.ends_with('\n')) {
            const std::string piece = read_piece(buffer_size);
            if (piece.empty()) {
                return line + "(end)";
            }
            line += piece;
        }
        std::erase(line, '\r');
        return line;
    }

    static bool s_is_open;
};

bool TypedConsole::s_is_open = false;

TEST_F(TypedConsole, IsATerminal) {
    EXPECT_TRUE(console_input_is_terminal());
}

TEST_F(TypedConsole, GivesTypedLinesInUtf8) {
    type_text(std::string(k_text) + "\n");
    EXPECT_EQ(read_line(512), std::string(k_text) + "\n");
    type_text("\n");
    EXPECT_EQ(read_line(512), "\n");
}

TEST_F(TypedConsole, GivesOneLineAtATime) {
    type_text("one\ntwo\n");
    EXPECT_EQ(read_line(512), "one\n");
    EXPECT_EQ(read_line(512), "two\n");
}

TEST_F(TypedConsole, GivesLinesLongerThanTheBufferWhole) {
    // Every character at every place of the smallest buffer.
    for (int blanks = 0; blanks < 16; ++blanks) {
        std::string line(static_cast<std::size_t>(blanks), '-');
        while (line.size() < 200) {
            line += k_text;
        }
        line += '\n';
        type_text(line);
        EXPECT_EQ(read_line(16), line) << blanks;
    }
}

TEST_F(TypedConsole, EndsWhereItsEndIsTypedAndGoesOnAfterIt) {
    type_end_of_input();
    EXPECT_EQ(read_piece(512), "");
    type_text("again\n");
    EXPECT_EQ(read_line(512), "again\n");
}

TEST_F(TypedConsole, ShowsUtf8) {
    EXPECT_EQ(line_shown_by([] { console_write(stdout, k_text); }), k_text);
}

TEST_F(TypedConsole, ShowsNothingForAnEmptyText) {
    EXPECT_EQ(line_shown_by([] { console_write(stdout, ""); }), "");
}

} // namespace
