// velmo-peer's command line: what is taken, what is refused, and with which words.
#include "peer/peer_options.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace {

struct Parsed {
    PeerOptions options;
    std::string error;
};

Parsed parse(std::initializer_list<std::string> arguments) {
    const std::vector<std::string> texts(arguments);
    Parsed parsed;
    parsed.error = parse_peer_options(texts, parsed.options);
    return parsed;
}

/// With the three options that must be there.
Parsed parse_with(std::initializer_list<std::string> more) {
    std::vector<std::string> texts = {"--server", "h:1", "--room", "r", "--name", "n"};
    texts.insert(texts.end(), more);
    Parsed parsed;
    parsed.error = parse_peer_options(texts, parsed.options);
    return parsed;
}

TEST(PeerOptions, TakesEveryOption) {
    const Parsed parsed = parse({"--server", "voice.example:3602", "--room", "r 1", "--name",
                                 "José", "--play", "a.wav", "--record", "b.wav", "--output", "2",
                                 "--seconds", "1.5", "--report-every", "10", "--mute", "--deafen"});
    EXPECT_EQ(parsed.error, "");
    EXPECT_EQ(parsed.options.server, "voice.example:3602");
    EXPECT_EQ(parsed.options.room, "r 1");
    EXPECT_EQ(parsed.options.name, "José");
    EXPECT_EQ(parsed.options.play_file, "a.wav");
    EXPECT_EQ(parsed.options.record_file, "b.wav");
    EXPECT_EQ(parsed.options.output_device, "2");
    EXPECT_EQ(parsed.options.seconds, 1.5);
    EXPECT_EQ(parsed.options.report_every, 10.0);
    EXPECT_TRUE(parsed.options.report);
    EXPECT_TRUE(parsed.options.mute);
    EXPECT_TRUE(parsed.options.deafen);
    EXPECT_FALSE(parsed.options.uses_microphone());
}

TEST(PeerOptions, TakesValuesAfterAnEqualsSignToo) {
    const Parsed parsed = parse({"--server=h", "--room=a=b", "--name=n", "--tone=440"});
    EXPECT_EQ(parsed.error, "");
    EXPECT_EQ(parsed.options.server, "h");
    EXPECT_EQ(parsed.options.room, "a=b");
    EXPECT_EQ(parsed.options.tone_hz, 440.0);
}

TEST(PeerOptions, UsesTheMicrophoneUnlessToldWhatToSay) {
    EXPECT_TRUE(parse_with({}).options.uses_microphone());
    EXPECT_TRUE(parse_with({"--input", "mic"}).options.uses_microphone());
    EXPECT_FALSE(parse_with({"--tone", "440"}).options.uses_microphone());
    EXPECT_FALSE(parse_with({"--play", "a.wav"}).options.uses_microphone());
}

TEST(PeerOptions, HelpVersionAndDeviceListNeedNothingElse) {
    EXPECT_EQ(parse({"--help"}).error, "");
    EXPECT_TRUE(parse({"--help"}).options.help);
    EXPECT_TRUE(parse({"-h"}).options.help);
    EXPECT_EQ(parse({"--version"}).error, "");
    EXPECT_TRUE(parse({"--version"}).options.version);
    EXPECT_EQ(parse({"--list-devices"}).error, "");
    EXPECT_TRUE(parse({"--list-devices"}).options.list_devices);
}

TEST(PeerOptions, NamesTheMissingOption) {
    EXPECT_EQ(parse({}).error, "--server is missing");
    EXPECT_EQ(parse({"--server", "h"}).error, "--room is missing");
    EXPECT_EQ(parse({"--server", "h", "--room", "r"}).error, "--name is missing");
}

TEST(PeerOptions, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(parse({"--colour"}).error, "unknown option: --colour");
    EXPECT_EQ(parse({"file.wav"}).error, "unknown option: file.wav");
    EXPECT_EQ(parse({""}).error, "unknown option: ");
    EXPECT_EQ(parse({"-x"}).error, "unknown option: -x");
    EXPECT_EQ(parse({"--serve", "h"}).error, "unknown option: --serve");
}

TEST(PeerOptions, RefusesAMissingOrSuperfluousValue) {
    EXPECT_EQ(parse({"--server"}).error, "--server needs a value");
    EXPECT_EQ(parse_with({"--mute=yes"}).error, "--mute takes no value");
    EXPECT_EQ(parse_with({"--play="}).error, "--play must be a file name");
    EXPECT_EQ(parse_with({"--input", ""}).error, "--input must be a device's index or name");
}

TEST(PeerOptions, RefusesNumbersThatAreNoneOrOutOfRange) {
    for (const char* number : {"", "x", "1x", "-1", "0", "nan", "inf", "1e99", " 1", "0x10"}) {
        EXPECT_NE(parse_with({"--seconds", number}).error, "") << number;
        EXPECT_NE(parse_with({"--report-every", number}).error, "") << number;
        EXPECT_NE(parse_with({"--tone", number}).error, "") << number;
    }
    EXPECT_EQ(parse_with({"--tone", "19"}).error, "--tone must be a frequency from 20 to 20000 Hz");
    EXPECT_EQ(parse_with({"--tone", "20"}).error, "");
    EXPECT_EQ(parse_with({"--tone", "20000"}).error, "");
    EXPECT_NE(parse_with({"--tone", "20001"}).error, "");
}

TEST(PeerOptions, RefusesRoomsAndNamesThatTheProtocolCannotCarry) {
    const std::string longest(63, 'x');
    EXPECT_EQ(parse_with({"--room", longest}).error, "");
    EXPECT_EQ(parse_with({"--name", longest}).error, "");
    for (const std::string& text :
         {std::string(), std::string(64, 'x'), std::string("a\"b"), std::string("a\\b"),
          std::string("a\nb"), std::string("\t"), std::string("\x7F"), std::string("\xC2\x85"),
          std::string("Jos\xE9")}) {
        EXPECT_EQ(parse_with({"--room", text}).error,
                  "--room must be 1 to 63 bytes of UTF-8 without quotation marks, backslashes or "
                  "control characters")
            << text;
        EXPECT_NE(parse_with({"--name", text}).error, "") << text;
    }
}

TEST(PeerOptions, RefusesServersThatAreNone) {
    for (const char* server : {"", ":3602", "h:", "h:x", "h:0", "h:65536", "h:1:2", "ws://h:1",
                               "h/ws", "a b", "h:-1", "h:+1", "h:99999999999", "h\x85"}) {
        EXPECT_EQ(parse({"--server", server, "--room", "r", "--name", "n"}).error,
                  "--server must be HOST or HOST:PORT, with PORT from 1 to 65535")
            << server;
    }
    EXPECT_NE(parse_with({"--server", std::string(128, 'h')}).error, "");
    for (const char* server : {"h", "h:1", "127.0.0.1:65535", "a-b.c:3602"}) {
        EXPECT_EQ(parse_with({"--server", server}).error, "") << server;
    }
    EXPECT_EQ(parse_peer_server("a.b:65535")->host, "a.b");
    EXPECT_EQ(parse_peer_server("a.b:65535")->port, 65535);
    EXPECT_EQ(parse_peer_server("a.b")->port, 3602);
}

TEST(PeerOptions, RefusesTwoSourcesAtOnce) {
    EXPECT_EQ(parse_with({"--play", "a.wav", "--tone", "440"}).error,
              "--play and --tone exclude each other");
    EXPECT_NE(parse_with({"--input", "1", "--tone", "440"}).error, "");
    EXPECT_NE(parse_with({"--input", "1", "--play", "a.wav"}).error, "");
}

TEST(PeerOptions, LastOfARepeatedOptionCounts) {
    EXPECT_EQ(parse_with({"--room", "second"}).options.room, "second");
}

TEST(PeerOptions, HelpNamesEveryOption) {
    for (const char* option : {"--server", "--room", "--name", "--play", "--tone", "--record",
                               "--seconds", "--mute", "--list-devices", "--input", "--output",
                               "--deafen", "--report", "--report-every", "--help", "--version"}) {
        EXPECT_NE(peer_help_text().find(option), std::string_view::npos) << option;
    }
}

} // namespace
