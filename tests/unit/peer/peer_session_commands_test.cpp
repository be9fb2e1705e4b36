// The commands typed into velmo-peer, and what it reports.
#include "unit/peer/peer_session_fixture.h"

namespace {

TEST_F(PeerSession, MuteSilencesAndUnmuteSpeaksAgain) {
    run(tone_options(), [this] {
        await_packets(Type::speaking, 1);
        command("mute");
        await_packets(Type::speaking, 2);
        // The block that was under way may still come; then nothing more does.
        m_server.catch_up();
        m_server.forget_received();
        await_packets(Type::heartbeat, 1);
        EXPECT_LE(m_server.count(Type::audio), 1U);
        command("unmute");
        await_packets(Type::speaking, 1);
        await_packets(Type::audio, 3);
        command("quit");
    });
    EXPECT_EQ(packets(Type::speaking).at(0).payload, std::vector<std::uint8_t>{1});
}

TEST_F(PeerSession, BeginsMuted) {
    PeerOptions muted = tone_options();
    muted.mute = true;
    const Outcome outcome = run(muted, [this] {
        await_inside();
        await_packets(Type::heartbeat, 1);
        command("quit");
    });
    EXPECT_EQ(m_server.count(Type::audio), 0U);
    EXPECT_EQ(m_server.count(Type::speaking), 0U);
    EXPECT_EQ(outcome.output, "state: connected\nstate: joining\nstate: in room\nquitting\n"
                              "state: connected\nstate: disconnected\n");
}

TEST_F(PeerSession, LeavesAndJoinsAgainOnCommand) {
    const Outcome outcome = run(tone_options(), [this] {
        await_inside();
        await_packets(Type::audio, 3);
        command("leave");
        await_packets(Type::leave_room, 1);
        m_server.forget_received();
        command("join r2");
        await_inside(2);
        await_packets(Type::audio, 3);
        command("quit");
    });
    EXPECT_EQ(text_of(packets(Type::join_room).at(0)), R"({"roomId":"r2","username":"ana"})");
    EXPECT_TRUE(contains(without_voice(outcome.output),
                         "leaving the room\nstate: connected\njoining room r2\nstate: joining\n"
                         "state: in room\n"))
        << outcome.output;
}

TEST_F(PeerSession, ChatsOnCommandAndShowsWhatArrives) {
    const Outcome outcome = run(tone_options(), [this] {
        await_inside();
        command("chat hello there");
        await_packets(Type::chat, 1);
        m_server.send(Type::chat, R"({"room":"r1"})");
        m_server.send(Type::room_update, "{}");
        m_server.send(Type::chat, R"({"room":"r1","username":"bob","message":"hi ana"})");
        await_said("hi ana\n");
        command("quit");
    });
    EXPECT_EQ(text_of(packets(Type::chat).at(0)),
              R"({"room":"r1","username":"ana","message":"hello there"})");
    EXPECT_TRUE(contains(outcome.output, "chat: bob: hi ana\n")) << outcome.output;
}

TEST_F(PeerSession, AnswersEveryCommand) {
    const Outcome outcome = run(tone_options(), [this] {
        await_inside();
        for (const char* line : {"mute", "unmute", "deafen", "undeafen", "output Speaker",
                                 "chat hello", "help", "quit"}) {
            command(line);
        }
    });
    EXPECT_EQ(outcome.errors, "");
    const std::string answers = without_voice(outcome.output);
    EXPECT_TRUE(contains(answers, "muted\nunmuted\ndeafened\nundeafened\noutput: Speaker\n"
                                  "chat sent\ncommands: mute, "))
        << outcome.output;
    EXPECT_TRUE(contains(answers, ", quit\nquitting\n")) << outcome.output;
}

TEST_F(PeerSession, SaysThatItIsNotInARoom) {
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::audio, 1);
        command("leave");
        command("chat hello");
        command("leave");
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors,
              "velmo-peer: chat: not in a room\nvelmo-peer: leave: not in a room\n");
    EXPECT_EQ(m_server.count(Type::chat), 0U);
    EXPECT_EQ(m_server.count(Type::leave_room), 1U);
}

TEST_F(PeerSession, SendsAChatThatFitsAndRefusesALongerOne) {
    const Outcome outcome = run(tone_options(), [this] {
        await_inside();
        command("chat " + std::string(513, 'x'));
        command("chat " + std::string(512, 'y'));
        await_packets(Type::chat, 1);
        command("quit");
    });
    EXPECT_EQ(outcome.errors,
              "velmo-peer: chat: the text has 513 bytes, and the room takes 512 at most\n");
    ASSERT_EQ(m_server.count(Type::chat), 1U);
    EXPECT_EQ(text_of(packets(Type::chat).at(0)),
              R"({"room":"r1","username":"ana","message":")" + std::string(512, 'y') + "\"}");
}

// The names of room and user travel with the text.
TEST_F(PeerSession, LongNamesLeaveLessOfAChat) {
    PeerOptions named = tone_options();
    named.room = std::string(63, 'r');
    named.name = std::string(63, 'n');
    const Outcome outcome = run(named, [this] {
        await_inside();
        command("chat " + std::string(436, 'x'));
        command("chat " + std::string(435, 'y'));
        await_packets(Type::chat, 1);
        command("quit");
    });
    EXPECT_TRUE(contains(outcome.errors, "the room takes 435 at most\n")) << outcome.errors;
    ASSERT_EQ(m_server.count(Type::chat), 1U);
    EXPECT_TRUE(text_of(packets(Type::chat).at(0)).ends_with("yyy\"}"));
}

TEST_F(PeerSession, ShowsThePeopleInTheRoom) {
    const Outcome outcome = run(tone_options(), [this] {
        await_inside();
        m_server.send(
            Type::join_room,
            R"({"existingPeers":[{"id":"p1","username":"bob"},{"id":"p2","username":"cy"}]})");
        m_server.send(Type::speaking, R"({"peerId":"p1","speaking":true})");
        m_server.send(Type::speaking, R"({"peerId":"p1","speaking":false})");
        m_server.send(Type::peer_left, R"({"peerId":"p2"})");
        await_said("peer left: cy\n");
        command("quit");
    });
    EXPECT_TRUE(contains(outcome.output, "peer joined: bob\npeer joined: cy\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "peer speaking: bob\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "peer silent: bob\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "peer left: cy\n")) << outcome.output;
    // It is ana who leaves in the end, not bob.
    EXPECT_FALSE(contains(outcome.output, "peer left: bob\n")) << outcome.output;
    EXPECT_TRUE(outcome.output.ends_with("state: connected\nstate: disconnected\n"))
        << outcome.output;
}

TEST_F(PeerSession, ReportsItsFigures) {
    PeerOptions reporting = tone_options();
    reporting.report = true;
    reporting.report_every = 0.05;
    const Outcome outcome = run(reporting, [this] {
        await_packets(Type::audio, 60);
        await_said("speaking\n");
        command("report");
        command("quit");
    });
    const std::size_t last = outcome.output.rfind("{\"seconds\":");
    ASSERT_NE(last, std::string::npos) << outcome.output;
    const std::string report = outcome.output.substr(last);
    EXPECT_TRUE(contains(report, R"("room":"r1","connected":true,"muted":false)")) << report;
    EXPECT_TRUE(contains(report, R"("speaking":true)")) << report;
    EXPECT_FALSE(contains(report, R"("packets_in":0,)")) << report;
    EXPECT_FALSE(contains(report, R"("packets_out":0,)")) << report;
    // The last line is printed when nothing is sent any more.
    EXPECT_TRUE(
        contains(report, "\"packets_out\":" + std::to_string(m_server.count(Type::audio)) + ","))
        << report;
    EXPECT_FALSE(contains(report, R"("level":0.0000)")) << report;
    std::size_t reports = 0;
    for (std::size_t at = outcome.output.find("{\"seconds\":"); at != std::string::npos;
         at = outcome.output.find("{\"seconds\":", at + 1)) {
        ++reports;
    }
    EXPECT_GE(reports, 3U);
}

TEST_F(PeerSession, SwitchesDevicesOnCommand) {
    fake_audio::add_endpoint(AudioFlow::capture, "mic2", "Second microphone");
    fake_audio::add_endpoint(AudioFlow::render, "speaker2", "Second speaker");
    fake_audio::set_tone("mic2", 0.5F, 480);
    const Outcome outcome = run(options(), [this] {
        await_inside();
        command("input Second");
        command("output 1");
        command("input Piano");
        await_packets(Type::audio, 3);
        await("sound", [] { return !fake_audio::rendered("speaker2").empty(); });
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: no such microphone: Piano\n");
}

TEST_F(PeerSession, RefusesCommandsThatItCannotCarryOut) {
    const Outcome outcome = run(tone_options(), [this] {
        await_inside();
        command("dance");
        command("chat \"quoted\"");
        command("input 0");
        command("");
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: unknown command: dance (type help)\n"
                              "velmo-peer: chat needs a text in UTF-8 without quotation marks, "
                              "backslashes or control characters\n"
                              "velmo-peer: input: no microphone is in use\n");
}

} // namespace
