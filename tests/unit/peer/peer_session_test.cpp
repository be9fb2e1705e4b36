// velmo-peer's whole stay in a room: in this process, with a scripted server behind real sockets
// and sound cards in memory.
#include "base/main_thread.h"
#include "core/app_state.h"
#include "core/peer_roster.h"
#include "core/voice_session.h"
#include "peer/peer_exit.h"
#include "peer/peer_loop.h"
#include "peer/peer_program.h"
#include "peer/peer_session.h"
#include "peer/wav_file.h"
#include "platform/console.h"
#include "support/fake_audio_endpoint.h"
#include "unit/voice/scripted_server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Type = VoicePacketType;

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

class PeerSession : public testing::Test {
  protected:
    PeerSession() {
        fake_audio::reset();
        fake_audio::add_endpoint(AudioFlow::capture, "mic", "Microphone");
        fake_audio::add_endpoint(AudioFlow::render, "speaker", "Speaker");
        OnMuteToggle(false);
        OnDeafenToggle(false);
        g_peerCount = 0;
        m_server.confirm_joins = true;
    }

    PeerOptions options() const {
        PeerOptions options;
        options.server = m_server.url().substr(6); // without "udp://"
        options.room = "r1";
        options.name = "ana";
        return options;
    }

    PeerOptions tone_options() const {
        PeerOptions with_tone = options();
        with_tone.tone_hz = 1000.0;
        return with_tone;
    }

    /// Runs a session on this thread, and beside it `script`, which must bring it to its end.
    static Outcome run(const PeerOptions& options, const std::function<void()>& script) {
        peer_loop_install();
        peer_loop_catch_signals();
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        std::thread script_thread(script);
        Outcome outcome;
        outcome.status = run_peer_session(options);
        script_thread.join();
        outcome.output = testing::internal::GetCapturedStdout();
        outcome.errors = testing::internal::GetCapturedStderr();
        peer_loop_uninstall();
        return outcome;
    }

    static void command(const std::string& line) {
        run_on_main_thread([line] { run_peer_command_line(line); });
    }

    /// Waits for something that another thread brings about; for a long time before giving up.
    static void await(const char* what, const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "waited in vain for " << what;
                return;
            }
            std::this_thread::sleep_for(1ms);
        }
    }

    void await_packets(Type type, std::size_t count) {
        await("packets", [&] { return m_server.count(type) >= count; });
    }

    /// Waits until the recording, still under way, holds so many frames.
    static void await_recording(const char* path, std::size_t frames) {
        await("the recording", [&] {
            WavSound sound;
            std::string error;
            return wav_read_file(path, sound, error) && sound.frame_count() >= frames;
        });
    }

    std::vector<ScriptedServer::Received> packets(Type type) const {
        std::vector<ScriptedServer::Received> chosen;
        for (const auto& packet : m_server.received()) {
            if (packet.type == type) {
                chosen.push_back(packet);
            }
        }
        return chosen;
    }

    static std::string text_of(const ScriptedServer::Received& packet) {
        return {packet.payload.begin(), packet.payload.end()};
    }

    static bool contains(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }

    ScriptedServer m_server;
};

void write_wav(const char* path, std::uint32_t rate, std::size_t frames, std::int16_t value) {
    WavWriter writer;
    ASSERT_TRUE(writer.open(path, rate, 1));
    std::vector<std::int16_t> samples(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        samples[i] = i / 24 % 2 == 0 ? value : static_cast<std::int16_t>(-value);
    }
    EXPECT_TRUE(writer.write(samples));
    EXPECT_TRUE(writer.close());
}

TEST_F(PeerSession, JoinsTalksAndLeaves) {
    const Outcome outcome = run(tone_options(), [this] {
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
    await_packets(Type::disconnect, 1);
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
    PeerOptions timed = options();
    timed.seconds = 3.0;
    const Outcome outcome = run(timed, [] {});
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: the microphone delivers nothing; type: input DEVICE\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2s);
}

TEST_F(PeerSession, TellsThatTheServerDoesNotAnswer) {
    PeerOptions timed = tone_options();
    timed.seconds = 6.5;
    const Outcome outcome = run(timed, [this] {
        await_packets(Type::audio, 1);
        m_server.echo_audio = false;
        m_server.answer_heartbeats = false;
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: no answer from the server for 5 s\n");
}

TEST_F(PeerSession, PlaysTheRoomOnTheOutput) {
    fake_audio::set_tone("mic", 0.5F, 480);
    run(options(), [] {
        await("sound", [] {
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
    await_packets(Type::leave_room, 1);
    await_packets(Type::disconnect, 1);
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
    await_packets(Type::disconnect, 1);
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
    await_packets(Type::disconnect, 1);
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
    await_packets(Type::disconnect, 1);
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

TEST_F(PeerSession, EndsOnASignalWithAWholeRecording) {
    PeerOptions recording = tone_options();
    recording.record_file = "room.wav";
    const Outcome outcome = run(recording, [] {
        await_recording("room.wav", 4800);
        std::raise(console_end_signals().back());
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    await_packets(Type::disconnect, 1);
    WavSound sound;
    std::string error;
    ASSERT_TRUE(wav_read_file("room.wav", sound, error)) << error;
    EXPECT_EQ(std::filesystem::file_size("room.wav"), 44 + sound.frame_count() * 4);
    std::filesystem::remove("room.wav");
}

TEST_F(PeerSession, RecordsWhatTheRoomSendsAlsoWhileDeafened) {
    PeerOptions recording = tone_options();
    recording.record_file = "room.wav";
    recording.deafen = true;
    run(recording, [] {
        await_recording("room.wav", 40 * 480);
        command("quit");
    });
    WavSound sound;
    std::string error;
    ASSERT_TRUE(wav_read_file("room.wav", sound, error)) << error;
    EXPECT_EQ(sound.sample_rate, 48000U);
    EXPECT_EQ(sound.channels, 2U);
    EXPECT_EQ(sound.frame_count() % 480, 0U);
    ASSERT_GE(sound.frame_count(), 40U * 480U);
    // The echo of a 1000 Hz tone crosses zero upwards every 48 frames.
    int crossings = 0;
    const std::size_t from = sound.frame_count() / 2;
    const std::size_t frames = 4800;
    for (std::size_t i = from; i < from + frames; ++i) {
        crossings += sound.samples[2 * i - 2] < 0.0F && sound.samples[2 * i] >= 0.0F ? 1 : 0;
    }
    EXPECT_NEAR(crossings, 100, 2);
    // The playback ring may begin with what an earlier session left in its 250 ms.
    constexpr std::size_t k_ring_samples = 24000;
    const std::vector<float> rendered = fake_audio::rendered("speaker");
    ASSERT_GT(rendered.size(), k_ring_samples);
    EXPECT_TRUE(std::all_of(rendered.begin() + k_ring_samples, rendered.end(),
                            [](float sample) { return sample == 0.0F; }));
    std::filesystem::remove("room.wav");
}

TEST_F(PeerSession, EarlierRecordingIsSparedWhenTheRoomIsNotEntered) {
    write_wav("room.wav", 48000, 480, 16000);
    const auto size = std::filesystem::file_size("room.wav");
    m_server.confirm_joins = false;
    PeerOptions recording = tone_options();
    recording.record_file = "room.wav";
    const Outcome outcome = run(recording, [this] {
        await_packets(Type::join_room, 1);
        m_server.send(Type::error, "full");
    });
    EXPECT_EQ(outcome.status, k_peer_other);
    EXPECT_EQ(std::filesystem::file_size("room.wav"), size);
    std::filesystem::remove("room.wav");
}

TEST_F(PeerSession, EarlierRecordingMakesRoomForTheNextOneInTheRoom) {
    write_wav("room.wav", 48000, 48000, 16000);
    m_server.echo_audio = false;
    PeerOptions recording = tone_options();
    recording.record_file = "room.wav";
    const Outcome outcome = run(recording, [this] {
        await_packets(Type::audio, 1);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(std::filesystem::file_size("room.wav"), 44U);
    std::filesystem::remove("room.wav");
}

TEST_F(PeerSession, RefusesToRecordOverTheFileThatItPlays) {
    write_wav("say.wav", 48000, 480, 16000);
    const auto size = std::filesystem::file_size("say.wav");
    std::filesystem::create_hard_link("say.wav", "other-name.wav");
    std::filesystem::create_directory("folder");
    for (const char* name : {"say.wav", "./say.wav", "folder/../say.wav", "other-name.wav"}) {
        PeerOptions both = options();
        both.play_file = "say.wav";
        both.record_file = name;
        const Outcome outcome = run(both, [] {});
        EXPECT_EQ(outcome.status, k_peer_usage) << name;
        EXPECT_EQ(outcome.errors, "velmo-peer: --play and --record name the same file\n") << name;
        EXPECT_EQ(std::filesystem::file_size("say.wav"), size);
    }
    EXPECT_EQ(m_server.received().size(), 0U);
    std::filesystem::remove("folder");
    std::filesystem::remove("other-name.wav");
    std::filesystem::remove("say.wav");
}

TEST_F(PeerSession, NotesThatAFileIsCutShort) {
    write_wav("say.wav", 48000, 48000, 16000);
    std::filesystem::resize_file("say.wav", 44 + 24000 * 2);
    PeerOptions playing = options();
    playing.play_file = "say.wav";
    const Outcome outcome = run(playing, [] { command("quit"); });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: note: say.wav is cut short; 0.5 seconds are left\n");
    std::filesystem::remove("say.wav");
}

TEST_F(PeerSession, RecordingThatCannotBeMadeEndsItAtOnce) {
    PeerOptions recording = tone_options();
    recording.record_file = "no-such-folder/room.wav";
    const Outcome outcome = run(recording, [] {});
    EXPECT_EQ(outcome.status, k_peer_other);
    EXPECT_EQ(outcome.errors, "velmo-peer: no-such-folder/room.wav cannot be written\n");
    EXPECT_EQ(m_server.received().size(), 0U);
}

TEST_F(PeerSession, PlaysAFileOnceThenSilence) {
    write_wav("say.wav", 48000, 48000, 16000);
    PeerOptions playing = options();
    playing.play_file = "say.wav";
    const Outcome outcome = run(playing, [this] {
        await_packets(Type::speaking, 2);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_TRUE(contains(outcome.output, "speaking\nsilent\n")) << outcome.output;
    EXPECT_GE(packets(Type::audio).size(), 100U);
    std::filesystem::remove("say.wav");
}

TEST_F(PeerSession, NotesThatAFileIsResampled) {
    write_wav("say.wav", 44100, 4410, 16000);
    PeerOptions playing = options();
    playing.play_file = "say.wav";
    const Outcome outcome = run(playing, [this] {
        await_packets(Type::audio, 3);
        command("quit");
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(outcome.errors, "velmo-peer: note: say.wav has 44100 samples per second and is "
                              "resampled to 48000\n");
    std::filesystem::remove("say.wav");
}

TEST_F(PeerSession, RefusesAFileThatIsNoneOrNoWav) {
    PeerOptions playing = options();
    playing.play_file = "no-such-file.wav";
    Outcome outcome = run(playing, [] {});
    EXPECT_EQ(outcome.status, k_peer_bad_wav);
    EXPECT_EQ(outcome.errors, "velmo-peer: no-such-file.wav cannot be opened\n");

    std::FILE* file = std::fopen("text.wav", "w");
    std::fputs("this is a text", file);
    std::fclose(file);
    playing.play_file = "text.wav";
    outcome = run(playing, [] {});
    EXPECT_EQ(outcome.status, k_peer_bad_wav);
    EXPECT_EQ(outcome.errors, "velmo-peer: text.wav is not a WAV file\n");
    EXPECT_EQ(m_server.received().size(), 0U);
    std::filesystem::remove("text.wav");
}

TEST_F(PeerSession, MuteSilencesAndUnmuteSpeaksAgain) {
    run(tone_options(), [this] {
        await_packets(Type::speaking, 1);
        command("mute");
        await_packets(Type::speaking, 2);
        // The block that was under way may still come; then nothing more does.
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
        await_packets(Type::audio, 3);
        command("leave");
        await_packets(Type::leave_room, 1);
        m_server.forget_received();
        command("join r2");
        await_packets(Type::join_room, 1);
        await_packets(Type::audio, 3);
        command("quit");
    });
    EXPECT_EQ(text_of(packets(Type::join_room).at(0)), R"({"roomId":"r2","username":"ana"})");
    EXPECT_TRUE(contains(outcome.output,
                         "state: connected\njoining room r2\nstate: joining\nstate: in room\n"))
        << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "leaving the room\nstate: connected\n")) << outcome.output;
}

TEST_F(PeerSession, ChatsOnCommandAndShowsWhatArrives) {
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::join_room, 1);
        command("chat hello there");
        await_packets(Type::chat, 1);
        m_server.send(Type::chat, R"({"room":"r1","username":"bob","message":"hi ana"})");
        m_server.send(Type::chat, R"({"room":"r1"})");
        m_server.send(Type::room_update, "{}");
        await_packets(Type::heartbeat, 1);
        command("quit");
    });
    EXPECT_EQ(text_of(packets(Type::chat).at(0)),
              R"({"room":"r1","username":"ana","message":"hello there"})");
    EXPECT_TRUE(contains(outcome.output, "chat: bob: hi ana\n")) << outcome.output;
}

TEST_F(PeerSession, AnswersEveryCommand) {
    const Outcome outcome = run(tone_options(), [this] {
        await_packets(Type::join_room, 1);
        for (const char* line : {"mute", "unmute", "deafen", "undeafen", "output Speaker",
                                 "chat hello", "help", "quit"}) {
            command(line);
        }
    });
    EXPECT_EQ(outcome.errors, "");
    EXPECT_TRUE(contains(outcome.output, "muted\nunmuted\ndeafened\nundeafened\noutput: Speaker\n"
                                         "chat sent\ncommands: mute, "))
        << outcome.output;
    EXPECT_TRUE(contains(outcome.output, ", quit\nquitting\n")) << outcome.output;
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
        await_packets(Type::join_room, 1);
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
        await_packets(Type::join_room, 1);
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
        await_packets(Type::join_room, 1);
        m_server.send(
            Type::join_room,
            R"({"existingPeers":[{"id":"p1","username":"bob"},{"id":"p2","username":"cy"}]})");
        m_server.send(Type::speaking, R"({"peerId":"p1","speaking":true})");
        m_server.send(Type::speaking, R"({"peerId":"p1","speaking":false})");
        m_server.send(Type::peer_left, R"({"peerId":"p2"})");
        await_packets(Type::heartbeat, 1);
        command("quit");
    });
    EXPECT_TRUE(contains(outcome.output, "peer joined: bob\npeer joined: cy\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "peer speaking: bob\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "peer silent: bob\n")) << outcome.output;
    EXPECT_TRUE(contains(outcome.output, "peer left: cy\n")) << outcome.output;
    // Bob goes with the room, when ana leaves it.
    EXPECT_TRUE(contains(outcome.output, "peer left: bob\nstate: connected\n")) << outcome.output;
}

TEST_F(PeerSession, ReportsItsFigures) {
    PeerOptions reporting = tone_options();
    reporting.report = true;
    reporting.report_every = 0.05;
    const Outcome outcome = run(reporting, [this] {
        await_packets(Type::audio, 60);
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
    await("all packets", [&] {
        return contains(report,
                        "\"packets_out\":" + std::to_string(m_server.count(Type::audio)) + ",");
    });
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
        await_packets(Type::join_room, 1);
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
        await_packets(Type::join_room, 1);
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
