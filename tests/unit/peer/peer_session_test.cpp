// velmo-peer's stay in a room: how it begins, what it tells, how it ends.
#include "unit/peer/peer_session_fixture.h"

#include <cstdio>

namespace {

TEST_F(PeerSession, JoinsTalksAndLeaves) {
    const Outcome outcome = run(tone_options(), [this] {
        await_inside();
        await_packets(Type::audio, 5);
        await_packets(Type::speaking, 1);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output,
              "state: connected\nstate: joining\nstate: in room\nspeaking\nquitting\n"
              "state: connected\nstate: disconnected\n");

    const auto received = m_server.received();
    EXPECT_EQ(received.front().type, Type::connect);
    EXPECT_EQ(text_of(packets(Type::join_room).at(0)), R"({"roomId":"r1","username":"ana"})");
    EXPECT_EQ(packets(Type::audio).at(0).payload.size(), 4U + 1920U);
    EXPECT_EQ(packets(Type::speaking).at(0).payload, std::vector<std::uint8_t>{1});
    EXPECT_EQ(text_of(packets(Type::leave_room).at(0)), "{}");
    EXPECT_EQ(m_server.count(Type::disconnect), 1U);
}

TEST_F(PeerSession, SpeaksThroughTheMicrophone) {
    fake_audio::set_tone("mic", 0.5F, 480);
    const Outcome outcome = run(options(), [this] {
        await_packets(Type::audio, 5);
        await_packets(Type::speaking, 1);
        fake_audio::set_tone("mic", 0.0F, 480);
        await_packets(Type::speaking, 2);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(packets(Type::speaking).at(1).payload, std::vector<std::uint8_t>{0});
    EXPECT_EQ(fake_audio::violations(), std::vector<std::string>{});
    EXPECT_EQ(fake_audio::live_handles(), 0);
}

TEST_F(PeerSession, TellsThatTheMicrophoneDeliversNothing) {
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome = run(options(), [] {
        await_said("the microphone");
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: the microphone delivers nothing; type: input DEVICE\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2s);
}

TEST_F(PeerSession, TellsThatTheServerDoesNotAnswer) {
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::audio, 1);
        m_server.echo_audio = false;
        m_server.answer_heartbeats = false;
        await_said("no answer");
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    // More of them on a machine that is busy with something else just then.
    int seconds = 0;
    int end = 0;
    EXPECT_EQ(std::sscanf(outcome.errors.c_str(),
                          "velmo-peer: no answer from the server for %d s%n", &seconds, &end),
              1);
    EXPECT_EQ(outcome.errors.substr(static_cast<std::size_t>(end)), "\n");
    EXPECT_GE(seconds, 5);
}

TEST_F(PeerSession, PlaysTheRoomOnTheOutput) {
    // The high-pass filter soon swallows a constant value: steps it lets through.
    float level = 0.5F;
    run(options(), [&level] {
        await("sound", [&level] {
            level = -level;
            fake_audio::set_tone("mic", level, 480);
            const std::vector<float> rendered = fake_audio::rendered("speaker");
            return std::any_of(rendered.begin(), rendered.end(),
                               [](float sample) { return std::fabs(sample) > 0.01F; });
        });
        command("quit");
    });
}

TEST_F(PeerSession, NeedsNoSoundDeviceWithATone) {
    fake_audio::reset();
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::audio, 3);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(PeerSession, NeedsNoSoundSystemWithATone) {
    fake_audio::answer(fake_audio::Call::enumerator_create, k_audio_fail);
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::audio, 3);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
}

TEST_F(PeerSession, EndsWithoutAMicrophone) {
    fake_audio::reset();
    const Outcome outcome = run(options(), [] {});
    EXPECT_EQ(outcome.status, k_peer_no_microphone);
    EXPECT_EQ(outcome.errors, "velmo-peer: there is no microphone (--play and --tone need none)\n");
    EXPECT_EQ(m_server.received().size(), 0U);
}

TEST_F(PeerSession, EndsWithoutASoundSystem) {
    fake_audio::answer(fake_audio::Call::enumerator_create, k_audio_fail);
    EXPECT_EQ(run(options(), [] {}).status, k_peer_no_microphone);
}

TEST_F(PeerSession, SaysThatNoSoundServerAnswers) {
    fake_audio::answer(fake_audio::Call::active_count, k_audio_server_gone);
    Outcome outcome = run(options(), [] {});
    EXPECT_EQ(outcome.status, k_peer_no_microphone);
    EXPECT_EQ(outcome.errors,
              "velmo-peer: no sound server answers (--play and --tone need none)\n");

    PeerOptions output = tone_options();
    output.output_device = "Speaker";
    outcome = run(output, [] {});
    EXPECT_EQ(outcome.status, k_peer_other);
    EXPECT_EQ(outcome.errors, "velmo-peer: no sound server answers\n");
    EXPECT_EQ(fake_audio::violations(), std::vector<std::string>{});
    EXPECT_EQ(fake_audio::live_handles(), 0);
}

TEST_F(PeerSession, ListOfDevicesSaysThatNoSoundServerAnswers) {
    fake_audio::answer(fake_audio::Call::enumerator_create, k_audio_server_gone);
    const std::vector<std::string> arguments{"--list-devices"};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(run_peer_program(arguments), k_peer_other);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "velmo-peer: no sound server answers\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(PeerSession, EndsWhenTheMicrophoneCannotBeStarted) {
    fake_audio::answer(fake_audio::Call::start, k_audio_fail, AudioFlow::capture);
    const Outcome outcome = run(options(), [] {});
    EXPECT_EQ(outcome.status, k_peer_no_microphone);
    EXPECT_EQ(outcome.errors, "velmo-peer: the microphone cannot be used\n");
    EXPECT_EQ(m_server.count(Type::leave_room), 1U);
    EXPECT_EQ(m_server.count(Type::disconnect), 1U);
}

TEST_F(PeerSession, EndsWhenTheChosenDevicesAreNotThere) {
    PeerOptions input = options();
    input.input_device = "Piano";
    Outcome outcome = run(input, [] {});
    EXPECT_EQ(outcome.status, k_peer_no_microphone);
    EXPECT_EQ(outcome.errors, "velmo-peer: no such microphone: Piano\n");

    PeerOptions output = tone_options();
    output.output_device = "7";
    outcome = run(output, [] {});
    EXPECT_EQ(outcome.status, k_peer_other);
    EXPECT_EQ(outcome.errors, "velmo-peer: no such output: 7\n");
}

TEST_F(PeerSession, EndsWhenSeveralDevicesMayBeMeant) {
    fake_audio::add_endpoint(AudioFlow::capture, "mic2", "Second Microphone");
    PeerOptions input = options();
    input.input_device = "phone";
    const Outcome outcome = run(input, [] {});
    EXPECT_EQ(outcome.status, k_peer_no_microphone);
    EXPECT_EQ(outcome.errors, "velmo-peer: phone matches several microphones: 0 Microphone, "
                              "1 Second Microphone\n");
}

TEST_F(PeerSession, CannotConnectToAHostThatDoesNotExist) {
    PeerOptions nowhere = tone_options();
    nowhere.server = "nowhere.invalid:3602";
    const Outcome outcome = run(nowhere, [] {});
    EXPECT_EQ(outcome.status, k_peer_cannot_connect);
    EXPECT_TRUE(outcome.errors.starts_with("velmo-peer: cannot connect to nowhere.invalid:3602: "))
        << outcome.errors;
}

TEST_F(PeerSession, EndsWhenTheServerRefusesTheJoin) {
    m_server.confirm_joins = false;
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::join_room, 1);
        m_server.send(Type::error, "the room is full");
    });
    EXPECT_EQ(outcome.status, k_peer_other);
    EXPECT_EQ(outcome.errors, "velmo-peer: server error: the room is full\n"
                              "velmo-peer: the server did not let ana into room r1\n");
    EXPECT_FALSE(contains(outcome.output, "state: in room")) << outcome.output;
    EXPECT_EQ(m_server.count(Type::disconnect), 1U);
    EXPECT_EQ(m_server.count(Type::audio), 0U);
}

TEST_F(PeerSession, EndsWhenTheServerDoesNotAnswerTheJoin) {
    m_server.confirm_joins = false;
    const auto start = std::chrono::steady_clock::now();
    PeerOptions timed = tone_options();
    timed.seconds = 0.2;
    const Outcome outcome = run(timed, [] {});
    EXPECT_EQ(outcome.status, k_peer_other);
    EXPECT_EQ(outcome.errors, "velmo-peer: the server did not answer the wish to enter room r1\n");
    EXPECT_FALSE(contains(outcome.output, "state: in room")) << outcome.output;
    EXPECT_GE(std::chrono::steady_clock::now() - start, 4900ms);
    EXPECT_EQ(m_server.count(Type::disconnect), 1U);
}

TEST_F(PeerSession, EndsWhenALaterJoinIsRefused) {
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::audio, 3);
        m_server.confirm_joins = false;
        command("join r2");
        await_packets(Type::join_room, 2);
        m_server.send(Type::error, "no");
    });
    EXPECT_EQ(outcome.status, k_peer_other);
    EXPECT_TRUE(outcome.errors.ends_with("did not let ana into room r2\n")) << outcome.errors;
}

TEST_F(PeerSession, MayQuitBeforeTheJoinIsAnswered) {
    m_server.confirm_joins = false;
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::join_room, 1);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(PeerSession, GoesOnAfterAnErrorInsideTheRoom) {
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::audio, 1);
        m_server.send(Type::error, "too long");
        await_said("too long\n");
        await_packets(Type::heartbeat, 1);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: server error: too long\n");
}

TEST_F(PeerSession, EndsByItselfAfterItsTime) {
    PeerOptions timed = tone_options();
    timed.seconds = 0.2;
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome = run(timed, [] {});
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms);
    EXPECT_EQ(m_server.count(Type::disconnect), 1U);
}

TEST_F(PeerSession, EndsWhenTheServerEndsTheSession) {
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::audio, 1);
        m_server.send(Type::error, "room closed");
        m_server.send(Type::disconnect, "");
    });
    EXPECT_EQ(outcome.status, k_peer_session_ended);
    EXPECT_EQ(outcome.errors, "velmo-peer: server error: room closed\n"
                              "velmo-peer: the server ended the session\n");
    EXPECT_TRUE(outcome.output.ends_with("state: disconnected\n")) << outcome.output;
}

TEST_F(PeerSession, LastReportTellsThatTheServerEndedTheSession) {
    PeerOptions reporting = tone_options();
    reporting.report = true;
    const Outcome outcome = run(reporting, [this] {
        await_packets(Type::audio, 1);
        m_server.send(Type::disconnect, "");
    });
    EXPECT_EQ(outcome.status, k_peer_session_ended);
    EXPECT_TRUE(contains(outcome.output, R"("connected":false)")) << outcome.output;
    EXPECT_FALSE(contains(outcome.output, R"("connected":true)")) << outcome.output;
}

} // namespace
