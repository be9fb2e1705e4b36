// velmo-peer's files: what it records and what it plays.
#include "unit/peer/peer_session_fixture.h"

namespace {

TEST_F(PeerSession, EndsOnASignalWithAWholeRecording) {
    PeerOptions recording = tone_options();
    recording.record_file = "room.wav";
    const Outcome outcome = run(recording, [] {
        await_recording("room.wav", 4800);
        std::raise(console_end_signals().back());
    });
    EXPECT_EQ(outcome.status, k_peer_ok);
    EXPECT_EQ(m_server.count(Type::disconnect), 1U);
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
    // The playback ring may begin with what an earlier session left in its 250 ms.
    constexpr std::size_t k_ring_samples = 24000;
    run(recording, [] {
        await_recording("room.wav", 40 * 480);
        await("playing", [] { return fake_audio::rendered("speaker").size() > k_ring_samples; });
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
    const Outcome outcome = run(recording, [] {
        await_inside();
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

} // namespace
