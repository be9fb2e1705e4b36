// The commands on velmo-peer's standard input.
#include "peer/peer_commands.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Kind = PeerCommandKind;

TEST(PeerCommands, WordsWithoutArguments) {
    const struct {
        const char* line;
        Kind kind;
    } rows[] = {{"mute", Kind::mute},     {"unmute", Kind::unmute},     {"deafen", Kind::deafen},
                {"leave", Kind::leave},   {"undeafen", Kind::undeafen}, {"quit", Kind::quit},
                {"report", Kind::report}, {"  mute \r\n", Kind::mute},  {"\tquit\n", Kind::quit}};
    for (const auto& row : rows) {
        const PeerCommand command = parse_peer_command(row.line);
        EXPECT_EQ(command.kind, row.kind) << row.line;
        EXPECT_EQ(command.error, "") << row.line;
        EXPECT_EQ(command.argument, "") << row.line;
    }
}

TEST(PeerCommands, ArgumentsAreTheRestOfTheLine) {
    EXPECT_EQ(parse_peer_command("join room 2").argument, "room 2");
    EXPECT_EQ(parse_peer_command("chat  hello,   you \r").argument, "hello,   you");
    EXPECT_EQ(parse_peer_command("input 1").argument, "1");
    EXPECT_EQ(parse_peer_command("output Virtual speaker 2").argument, "Virtual speaker 2");
    EXPECT_EQ(parse_peer_command("join room 2").kind, Kind::join);
    EXPECT_EQ(parse_peer_command("chat x").kind, Kind::chat);
    EXPECT_EQ(parse_peer_command("input 1").kind, Kind::input);
    EXPECT_EQ(parse_peer_command("output 1").kind, Kind::output);
}

TEST(PeerCommands, EmptyLinesAreNothing) {
    for (const char* line : {"", " ", "\r\n", "\t \n"}) {
        const PeerCommand command = parse_peer_command(line);
        EXPECT_EQ(command.kind, Kind::none);
        EXPECT_EQ(command.error, "");
    }
}

TEST(PeerCommands, UnknownWordsAreNamed) {
    EXPECT_EQ(parse_peer_command("dance now").error, "unknown command: dance (type help)");
    EXPECT_EQ(parse_peer_command("Mute").kind, Kind::unknown);
    EXPECT_EQ(parse_peer_command("muted").kind, Kind::unknown);
}

TEST(PeerCommands, LongUnknownWordsAreCut) {
    EXPECT_EQ(parse_peer_command(std::string(40, 'x')).error,
              "unknown command: " + std::string(40, 'x') + " (type help)");
    EXPECT_EQ(parse_peer_command(std::string(4000, 'x')).error,
              "unknown command: " + std::string(40, 'x') + "... (type help)");
}

TEST(PeerCommands, AreListedWithWhatTheyTake) {
    EXPECT_EQ(parse_peer_command("help").kind, Kind::help);
    EXPECT_EQ(peer_command_list(),
              "mute, unmute, deafen, undeafen, leave, join ROOM, input DEVICE, output DEVICE, "
              "chat TEXT, report, help, quit");
}

TEST(PeerCommands, MissingOrSuperfluousArgumentsAreRefused) {
    EXPECT_EQ(parse_peer_command("mute now").error, "mute needs nothing after it");
    EXPECT_NE(parse_peer_command("join").error, "");
    EXPECT_NE(parse_peer_command("join \t").error, "");
    EXPECT_NE(parse_peer_command("chat").error, "");
    EXPECT_NE(parse_peer_command("input").error, "");
}

TEST(PeerCommands, TextsThatTheProtocolCannotCarryAreRefused) {
    EXPECT_NE(parse_peer_command("chat say \"hi\"").error, "");
    EXPECT_NE(parse_peer_command("chat a\\b").error, "");
    EXPECT_NE(parse_peer_command("chat \xFF").error, "");
    EXPECT_NE(parse_peer_command("join \xC2\x9B").error, "");
    EXPECT_EQ(parse_peer_command("chat señal").argument, "señal");
    EXPECT_EQ(parse_peer_command("join salón").argument, "salón");
    EXPECT_NE(parse_peer_command("join " + std::string(64, 'x')).error, "");
    EXPECT_EQ(parse_peer_command("join " + std::string(63, 'x')).error, "");
    EXPECT_EQ(parse_peer_command("chat " + std::string(1000, 'x')).error, "");
}

TEST(PeerCommands, LinesAreCollectedFromPieces) {
    std::vector<std::string> lines;
    std::string pending;
    const auto take = [&lines](const std::string& line) { lines.push_back(line); };
    split_peer_lines(pending, "mu", take);
    split_peer_lines(pending, "te\nquit\nle", take);
    EXPECT_EQ(lines, (std::vector<std::string>{"mute", "quit"}));
    EXPECT_EQ(pending, "le");
}

TEST(PeerCommands, EndlessLineIsCutAndTheNextIsReadAgain) {
    std::vector<std::string> lines;
    std::string pending;
    const auto take = [&lines](const std::string& line) { lines.push_back(line); };
    split_peer_lines(pending, std::string(1'000'000, 'x'), take);
    EXPECT_EQ(pending.size(), 4096U);
    split_peer_lines(pending, "\nquit\n", take);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], "quit");
}

} // namespace
