// The console seam, as both systems must behave: its ends are pipes and files here.
#include "contract/console_child.h"
#include "platform/console.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

constexpr std::string_view k_text = "a\xC3\xB1\xE5\x90\x8D\xF0\x9F\x98\x80"; // one to four bytes

// About 20,000 bytes, of characters that no buffer of a power of two cuts between.
std::string long_line() {
    std::string line = "x";
    while (line.size() < 20000) {
        line += k_text.substr(3); // seven bytes
    }
    return line;
}

std::string output_of(std::vector<std::string> arguments, std::string_view input = "") {
    arguments.insert(arguments.begin(), "--child");
    ConsoleChild child(arguments);
    if (!input.empty()) {
        EXPECT_TRUE(child.write(input));
    }
    child.end_input();
    std::string output = child.read_output();
    EXPECT_EQ(child.read_errors(), "");
    EXPECT_EQ(child.wait(), 0);
    return output;
}

std::string listed(const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"arguments"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return output_of(all);
}

void write_file(const char* name, std::string_view bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

std::string file_bytes(const char* name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(ConsoleArguments, LeaveOutTheProgramsName) {
    EXPECT_EQ(listed({}), "");
    EXPECT_EQ(listed({"one", "two"}), "<one><two>");
}

TEST(ConsoleArguments, ComeInUtf8) {
    EXPECT_EQ(listed({std::string(k_text), "Mu\xC3\xB1oz"}),
              "<" + std::string(k_text) + "><Mu\xC3\xB1oz>");
}

TEST(ConsoleArguments, KeepBlanksQuotesAndBackslashes) {
    EXPECT_EQ(listed({"", "a b", "say \"yes\"", "C:\\folder\\", "a\\\\\"b", "\t"}),
              "<><a b><say \"yes\"><C:\\folder\\><a\\\\\"b><\t>");
}

TEST(ConsoleArguments, AreNoFileNamePatterns) {
    write_file("matching.txt", "");
    EXPECT_EQ(listed({"*", "?atching.txt", "*.txt"}), "<*><?atching.txt><*.txt>");
    std::filesystem::remove("matching.txt");
}

TEST(ConsoleArguments, MayBeLong) {
    const std::string line = long_line();
    EXPECT_EQ(listed({line}), "<" + line + ">");
}

TEST(ConsoleWrite, LeavesUtf8AsItIsInAPipe) {
    EXPECT_EQ(output_of({"write-input"}, k_text), k_text);
}

TEST(ConsoleWrite, LeavesUtf8AsItIsInAFile) {
    {
        ConsoleChild child({"--child", "write-input"}, {.input = {}, .output = "written"});
        EXPECT_TRUE(child.write(k_text));
        child.end_input();
        EXPECT_EQ(child.wait(), 0);
    }
    EXPECT_EQ(file_bytes("written"), k_text);
    std::filesystem::remove("written");
}

TEST(ConsoleWrite, LeavesBytesThatAreNotUtf8AsTheyAreInAPipe) {
    const std::string bytes = "\xFF\xC3(\xED\xA0\x80\0z\xF0\x9F"s;
    EXPECT_EQ(output_of({"write-input"}, bytes), bytes);
}

TEST(ConsoleWrite, WritesALongText) {
    const std::string line = long_line();
    EXPECT_EQ(output_of({"write-input"}, line), line);
}

TEST(ConsoleWrite, WritesNothingForAnEmptyText) {
    EXPECT_EQ(output_of({"write-input"}), "");
}

TEST(ConsoleWrite, WritesAtOnceAndToTheStreamAskedFor) {
    ConsoleChild child({"--child", "write-and-end", "to output \xC3\xB1", "to error \xC3\xB1"});
    EXPECT_EQ(child.read_output(), "to output \xC3\xB1");
    EXPECT_EQ(child.read_errors(), "to error \xC3\xB1");
    EXPECT_EQ(child.wait(), 0);
}

TEST(ConsoleWrite, KeepsTheTextsOfThreadsApart) {
    std::string output = output_of({"write-lines"});
    std::erase(output, '\r');
    std::map<std::string, int> lines;
    for (std::size_t begin = 0; begin < output.size();) {
        const std::size_t end = std::min(output.find('\n', begin), output.size());
        ++lines[output.substr(begin, end - begin)];
        begin = end + 1;
    }
    std::map<std::string, int> expected;
    for (const char letter : {'a', 'b', 'c', 'd'}) {
        expected[std::string(5000, letter)] = 100;
    }
    EXPECT_TRUE(lines == expected) << lines.size() << " different lines";
}

TEST(ConsoleRead, ReadsLinesAndALastOneWithoutItsBreak) {
    EXPECT_EQ(output_of({"read", "512"}, "one\ntwo\n\nlast"), "one\ntwo\n\nlast");
}

TEST(ConsoleRead, EndsAtTheEndOfAnEmptyPipe) {
    EXPECT_EQ(output_of({"read", "512"}), "");
}

TEST(ConsoleRead, EndsAgainAfterTheEnd) {
    EXPECT_EQ(output_of({"read-after-end"}, "text"), "text0");
}

TEST(ConsoleRead, GoesOnAcrossItsBuffersWithWholeCharacters) {
    const std::string line = long_line() + "\n" + long_line();
    for (const char* const size : {"16", "17", "512", "4096", "65536"}) {
        EXPECT_EQ(output_of({"read", size}, line), line) << size;
    }
}

TEST(ConsoleRead, LeavesBytesOfAPipeAsTheyAre) {
    const std::string bytes = "\xFF\xC3(\xED\xA0\x80\0z\x1A\x04\r\n\r\xF0\x9F"s;
    EXPECT_EQ(output_of({"read", "16"}, bytes), bytes);
}

TEST(ConsoleRead, GivesWhatIsThereWithoutWaitingForALineOrTheRestOfACharacter) {
    ConsoleChild child({"--child", "echo"});
    for (const std::string_view part : {"a", "\xF0\x9F", "\x98\x80\n", "b"}) {
        ASSERT_TRUE(child.write(part));
        EXPECT_EQ(child.read_output(part.size()), part);
    }
    child.end_input();
    EXPECT_EQ(child.read_output(), "");
    EXPECT_EQ(child.wait(), 0);
}

TEST(ConsoleRead, TakesNoEmptyWriteForTheEnd) {
    ConsoleChild child({"--child", "echo"});
    ASSERT_TRUE(child.write(""));
    ASSERT_TRUE(child.write("a"));
    EXPECT_EQ(child.read_output(1), "a");
}

TEST(ConsoleRead, ReadsAFileToItsEnd) {
    const std::string text = long_line() + "\x1A\r\nlast";
    write_file("input", text);
    {
        ConsoleChild child({"--child", "read", "512"}, {.input = "input", .output = {}});
        EXPECT_EQ(child.read_output(), text);
        EXPECT_EQ(child.wait(), 0);
    }
    std::filesystem::remove("input");
}

TEST(ConsoleRead, EndsWithoutAStandardInput) {
    ConsoleChild child({"--child", "read", "512"},
                       {.input = {}, .output = {}, .is_without_input = true});
    EXPECT_EQ(child.read_output(), "");
    EXPECT_EQ(child.wait(), 0);
}

TEST(ConsoleInput, IsNoTerminalForAPipeAFileOrNothing) {
    EXPECT_EQ(output_of({"is-terminal"}), "no");
    write_file("input", "text");
    {
        ConsoleChild child({"--child", "is-terminal"}, {.input = "input", .output = {}});
        EXPECT_EQ(child.read_output(), "no");
    }
    std::filesystem::remove("input");
    ConsoleChild child({"--child", "is-terminal"},
                       {.input = {}, .output = {}, .is_without_input = true});
    EXPECT_EQ(child.read_output(), "no");
}

std::sig_atomic_t volatile g_caught = 0;

void catch_signal(int number) {
    g_caught = number;
}

TEST(ConsoleEndSignals, AreEachOnceAndCanBeCaught) {
    const std::vector<int> signals = console_end_signals();
    EXPECT_EQ(std::set<int>(signals.begin(), signals.end()).size(), signals.size());
    EXPECT_EQ(std::count(signals.begin(), signals.end(), SIGINT), 1);
    EXPECT_EQ(std::count(signals.begin(), signals.end(), SIGTERM), 1);
    for (const int number : signals) {
        g_caught = 0;
        auto* const before = std::signal(number, catch_signal);
        ASSERT_NE(before, SIG_ERR) << number;
        std::raise(number);
        EXPECT_EQ(g_caught, number);
        std::signal(number, before);
    }
}

TEST(ConsoleEndSignals, HoldCtrlCAlsoWhereAScriptsShellLetsItBeIgnored) {
    for (const int ignored : {SIGINT, SIGTERM}) {
        auto* const before = std::signal(ignored, SIG_IGN);
        const std::vector<int> signals = console_end_signals();
        EXPECT_EQ(std::count(signals.begin(), signals.end(), ignored), 1);
        std::signal(ignored, before);
    }
}

} // namespace
