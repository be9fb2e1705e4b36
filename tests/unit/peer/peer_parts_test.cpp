// velmo-peer's smaller parts: the source's signals, the recorder, the facade's lines, the report,
// the main loop and the device choice.
#include "audio/audio_devices.h"
#include "audio/audio_engine.h"
#include "base/main_thread.h"
#include "base/stop_event.h"
#include "base/text.h"
#include "core/app_state.h"
#include "core/peer.h"
#include "peer/peer_devices.h"
#include "peer/peer_facade.h"
#include "peer/peer_loop.h"
#include "peer/peer_output.h"
#include "peer/peer_recorder.h"
#include "peer/peer_report.h"
#include "peer/peer_source.h"
#include "platform/console.h"
#include "support/fake_audio_endpoint.h"
#include "ui/gui_facade.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <thread>

namespace {

SourceSignal sound_signal(std::uint32_t rate, std::size_t channels, std::vector<float> samples) {
    SourceSignal signal;
    signal.sound = {rate, channels, std::move(samples)};
    return signal;
}

std::vector<float> fill(SourceSignal& signal, std::size_t frames) {
    std::vector<float> block(frames * 2, 99.0F);
    fill_source_block(signal, block);
    return block;
}

TEST(PeerSource, ToneIsASineOnBothSidesThatGoesOnFromBlockToBlock) {
    SourceSignal signal;
    signal.tone_hz = 1000.0;
    std::vector<float> samples = fill(signal, 480);
    const std::vector<float> second = fill(signal, 480);
    samples.insert(samples.end(), second.begin(), second.end());
    for (std::size_t i = 0; i < 960; ++i) {
        const double turn = static_cast<double>(i) * 1000.0 / 48000.0;
        const double expected = 0.25 * std::sin(2.0 * std::numbers::pi * turn);
        ASSERT_NEAR(static_cast<double>(samples[2 * i]), expected, 1e-5) << i;
        ASSERT_EQ(samples[2 * i], samples[2 * i + 1]);
    }
    EXPECT_FALSE(source_signal_ended(signal));
}

TEST(PeerSource, StereoSoundAt48KhzIsPlayedAsItIs) {
    SourceSignal signal = sound_signal(48000, 2, {0.1F, -0.1F, 0.2F, -0.2F});
    EXPECT_FALSE(source_signal_ended(signal));
    EXPECT_EQ(fill(signal, 2), (std::vector<float>{0.1F, -0.1F, 0.2F, -0.2F}));
    EXPECT_TRUE(source_signal_ended(signal));
}

TEST(PeerSource, MonoSoundGoesToBothSides) {
    SourceSignal signal = sound_signal(48000, 1, {0.1F, 0.2F});
    EXPECT_EQ(fill(signal, 2), (std::vector<float>{0.1F, 0.1F, 0.2F, 0.2F}));
}

TEST(PeerSource, EndOfASoundIsFollowedBySilence) {
    SourceSignal signal = sound_signal(48000, 1, {0.5F});
    EXPECT_EQ(fill(signal, 3), (std::vector<float>{0.5F, 0.5F, 0.0F, 0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(fill(signal, 1), (std::vector<float>{0.0F, 0.0F}));
}

TEST(PeerSource, LowerRateIsInterpolated) {
    SourceSignal signal = sound_signal(24000, 1, {0.0F, 0.5F, 0.25F});
    const std::vector<float> block = fill(signal, 6);
    const std::vector<float> left = {block[0], block[2], block[4], block[6], block[8], block[10]};
    EXPECT_EQ(left, (std::vector<float>{0.0F, 0.25F, 0.5F, 0.375F, 0.25F, 0.25F}));
    EXPECT_TRUE(source_signal_ended(signal));
}

TEST(PeerSource, HigherRateIsSkippedThrough) {
    SourceSignal signal = sound_signal(96000, 1, {0.0F, 0.1F, 0.2F, 0.3F});
    const std::vector<float> block = fill(signal, 3);
    EXPECT_EQ(block, (std::vector<float>{0.0F, 0.0F, 0.2F, 0.2F, 0.0F, 0.0F}));
}

std::atomic<int> g_blocks{0};
std::atomic<int> g_frames{0};
std::atomic<float> g_level{-1.0F};

TEST(PeerSource, FeedsBlocksOf480FramesWithTheirLevelAndNoneWhileMuted) {
    g_blocks = 0;
    SourceSignal signal;
    signal.tone_hz = 1000.0;
    ASSERT_TRUE(start_peer_source(
        signal,
        [](float*, std::int32_t frames) {
            g_frames = frames;
            ++g_blocks;
        },
        [](float level) { g_level = level; }));
    while (g_blocks < 5) {
        std::this_thread::yield();
    }
    EXPECT_EQ(g_frames, 480);
    EXPECT_NEAR(static_cast<double>(g_level.load()), 0.25 / std::numbers::sqrt2 * 3.0, 0.01);

    g_appState.muted = true;
    while (g_level != 0.0F) {
        std::this_thread::yield();
    }
    const int blocks_while_muted = g_blocks;
    g_level = 1.0F;
    while (g_level != 0.0F) {
        std::this_thread::yield();
    }
    EXPECT_EQ(g_blocks, blocks_while_muted);
    g_appState.muted = false;
    stop_peer_source();
}

TEST(PeerRecorder, WritesWhatWasPushedOnAnotherThread) {
    ASSERT_TRUE(open_peer_recorder("take.wav"));
    std::thread([] {
        for (int i = 0; i < 100; ++i) {
            const std::array<float, 4> samples{0.5F, -0.5F, 1.5F, -1.5F};
            push_to_peer_recorder(samples);
        }
    }).join();
    EXPECT_TRUE(drain_peer_recorder());
    EXPECT_TRUE(close_peer_recorder());

    WavSound sound;
    std::string error;
    ASSERT_TRUE(wav_read_file("take.wav", sound, error)) << error;
    EXPECT_EQ(sound.sample_rate, 48000U);
    EXPECT_EQ(sound.channels, 2U);
    ASSERT_EQ(sound.frame_count(), 200U);
    EXPECT_NEAR(static_cast<double>(sound.samples[0]), 0.5, 1e-4);
    EXPECT_NEAR(static_cast<double>(sound.samples[1]), -0.5, 1e-4);
    EXPECT_NEAR(static_cast<double>(sound.samples[2]), 1.0, 1e-4);
    EXPECT_EQ(sound.samples[3], -1.0F);
    std::filesystem::remove("take.wav");
}

// Decoded samples come back as the 16-bit values that were on the wire.
TEST(PeerRecorder, KeepsEverySixteenBitValueExactly) {
    ASSERT_TRUE(open_peer_recorder("take.wav"));
    std::vector<float> samples;
    for (int value = -32768; value <= 32767; ++value) {
        samples.push_back(static_cast<float>(value) / 32767.0F);
    }
    push_to_peer_recorder(samples);
    EXPECT_TRUE(close_peer_recorder());
    WavSound sound;
    std::string error;
    ASSERT_TRUE(wav_read_file("take.wav", sound, error)) << error;
    ASSERT_EQ(sound.samples.size(), samples.size());
    for (int value = -32768; value <= 32767; ++value) {
        ASSERT_EQ(sound.samples[static_cast<std::size_t>(value + 32768)],
                  static_cast<float>(value) / 32768.0F);
    }
    std::filesystem::remove("take.wav");
}

TEST(PeerRecorder, GoesOnPastTheRingsEnd) {
    ASSERT_TRUE(open_peer_recorder("take.wav"));
    const std::vector<float> samples(100'000, 0.25F);
    for (int i = 0; i < 6; ++i) {
        push_to_peer_recorder(samples);
        EXPECT_TRUE(drain_peer_recorder());
    }
    EXPECT_TRUE(close_peer_recorder());
    EXPECT_EQ(std::filesystem::file_size("take.wav"), 44U + 600'000U * 2U);
    std::filesystem::remove("take.wav");
}

TEST(PeerRecorder, SaysWhenSomethingWasLost) {
    ASSERT_TRUE(open_peer_recorder("take.wav"));
    const std::vector<float> samples(200'000, 0.25F);
    push_to_peer_recorder(samples);
    push_to_peer_recorder(samples);
    EXPECT_FALSE(close_peer_recorder());
    EXPECT_EQ(std::filesystem::file_size("take.wav"), 44U + 200'000U * 2U);
    std::filesystem::remove("take.wav");
}

void write_text(const char* path, const char* text) {
    std::FILE* const file = std::fopen(path, "wb");
    std::fputs(text, file);
    std::fclose(file);
}

TEST(PeerRecorder, NewFileIsAWholeEmptyRecordingAtOnce) {
    ASSERT_TRUE(open_peer_recorder("take.wav"));
    EXPECT_EQ(std::filesystem::file_size("take.wav"), 44U);
    EXPECT_TRUE(close_peer_recorder());
    std::filesystem::remove("take.wav");
}

TEST(PeerRecorder, ExistingFileIsSparedUntilTheRecordingBegins) {
    write_text("take.wav", "something finished");
    ASSERT_TRUE(open_peer_recorder("take.wav"));
    EXPECT_TRUE(drain_peer_recorder());
    EXPECT_TRUE(close_peer_recorder());
    EXPECT_EQ(std::filesystem::file_size("take.wav"), 18U);

    ASSERT_TRUE(open_peer_recorder("take.wav"));
    EXPECT_TRUE(begin_peer_recorder());
    EXPECT_EQ(std::filesystem::file_size("take.wav"), 44U);
    EXPECT_TRUE(begin_peer_recorder());
    EXPECT_TRUE(close_peer_recorder());
    EXPECT_TRUE(begin_peer_recorder()) << "no file is open any more";
    EXPECT_EQ(std::filesystem::file_size("take.wav"), 44U);
    std::filesystem::remove("take.wav");
}

TEST(PeerRecorder, SoundThatCameBeforeTheRecordingBeganIsKept) {
    write_text("take.wav", "something finished");
    ASSERT_TRUE(open_peer_recorder("take.wav"));
    push_to_peer_recorder(std::vector<float>(200, 0.5F));
    EXPECT_TRUE(drain_peer_recorder());
    EXPECT_TRUE(begin_peer_recorder());
    EXPECT_TRUE(close_peer_recorder());
    EXPECT_EQ(std::filesystem::file_size("take.wav"), 44U + 400U);
    std::filesystem::remove("take.wav");
}

TEST(PeerRecorder, FileThatIsGoneWhenTheRecordingBeginsIsAFailure) {
    std::filesystem::create_directory("takes");
    write_text("takes/take.wav", "something finished");
    ASSERT_TRUE(open_peer_recorder("takes/take.wav"));
    std::filesystem::remove_all("takes");
    EXPECT_FALSE(begin_peer_recorder());
    EXPECT_TRUE(close_peer_recorder());
}

TEST(PeerRecorder, WithoutAFileNothingHappens) {
    EXPECT_FALSE(open_peer_recorder("no-such-folder/take.wav"));
    const std::array<float, 2> samples{};
    push_to_peer_recorder(samples);
    EXPECT_TRUE(drain_peer_recorder());
    EXPECT_TRUE(close_peer_recorder());
}

Peer peer(const char* id, const char* username, bool speaking = false) {
    Peer record{};
    copy_text(record.id, id);
    copy_text(record.username, username);
    record.speaking = speaking ? 1 : 0;
    return record;
}

class PeerFacade : public testing::Test {
  protected:
    PeerFacade() {
        peer_facade_reset();
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
    }

    std::string output() {
        m_errors = testing::internal::GetCapturedStderr();
        return testing::internal::GetCapturedStdout();
    }

    static void show(const std::vector<Peer>& peers) {
        GUI_UpdatePeerList(peers.data(), static_cast<int>(peers.size()));
    }

    std::string m_errors;
};

TEST_F(PeerFacade, TellsWhoJoinsLeavesAndSpeaks) {
    show({peer("p1", "ana")});
    show({peer("p1", "ana"), peer("", "bob")});
    show({peer("p1", "ana", true), peer("p2", "bob")});
    show({peer("p1", "ana", true), peer("p2", "bob")});
    show({peer("p2", "bob")});
    EXPECT_EQ(peer_facade_others(), 1);
    show({});
    EXPECT_EQ(output(), "peer joined: ana\npeer joined: bob\npeer speaking: ana\n"
                        "peer left: ana\npeer left: bob\n");
}

TEST_F(PeerFacade, TellsASpeakerWhoFallsSilentAndOneWhoJoinsSpeaking) {
    show({peer("p1", "ana", true)});
    show({peer("p1", "ana")});
    EXPECT_EQ(output(), "peer joined: ana\npeer speaking: ana\npeer silent: ana\n");
}

TEST_F(PeerFacade, ShowsTheIdOfAPeerWithoutAName) {
    show({peer("p7", "")});
    EXPECT_EQ(output(), "peer joined: p7\n");
}

TEST_F(PeerFacade, TellsEachStateOnce) {
    GUI_UpdateConnectionState(2);
    GUI_UpdateConnectionState(2);
    GUI_UpdateConnectionState(3);
    GUI_UpdateConnectionState(0);
    EXPECT_EQ(peer_facade_state(), 0);
    EXPECT_EQ(output(), "state: connected\nstate: joining\nstate: disconnected\n");
}

TEST_F(PeerFacade, AlertsGoToStandardErrorInEnglish) {
    GUI_ShowMessage("Error de red", "room is full", 3);
    GUI_ShowMessage("Error de conexión", "No se pudo conectar al servidor", 3);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(m_errors, "velmo-peer: server error: room is full\n");
}

TEST_F(PeerFacade, ForeignTextsLoseTheirControlCharacters) {
    GUI_AddChatMessage("a\x1B[2J", "x\ny\xC2\x9Bñ");
    show({peer("p1", "e\nvil")});
    GUI_ShowMessage("Error de red", "line\nline", 3);
    EXPECT_EQ(output(), "chat: a?[2J: x?y?ñ\npeer joined: e?vil\n");
    EXPECT_EQ(m_errors, "velmo-peer: server error: line?line\n");
}

TEST_F(PeerFacade, SystemMessagesThatOtherLinesTellAreLeftOut) {
    GUI_AddSystemMessage("Te has unido al canal");
    GUI_AddSystemMessage("Un usuario ha salido");
    GUI_AddSystemMessage("Mensaje de chat recibido");
    GUI_AddSystemMessage("something new");
    EXPECT_EQ(output(), "something new\n");
}

TEST_F(PeerFacade, RemembersTheLevel) {
    GUI_UpdateAudioLevel(0.5F);
    EXPECT_EQ(peer_facade_level(), 0.5F);
    peer_facade_reset();
    EXPECT_EQ(peer_facade_level(), 0.0F);
    output();
}

TEST(PeerReport, IsOneLineOfJson) {
    PeerReport report;
    report.seconds = 1.5;
    report.room = std::string(63, 'r');
    report.connected = true;
    report.peers = 3;
    report.rtt_ms = 42;
    report.packets_in = 18'446'744'073'709'551'615ULL;
    report.level = 0.125;
    EXPECT_EQ(format_peer_report(report),
              R"({"seconds":1.500,"room":")" + report.room +
                  R"(","connected":true,"muted":false,"deafened":false,"speaking":false,)"
                  R"("peers":3,"rtt_ms":42,"jitter_ms":0,"target_delay_ms":0,"queued_packets":0,)"
                  R"("capture_delay_ms":0.0,"ring_delay_ms":0.0,"render_delay_ms":0.0,)"
                  R"("packets_in":18446744073709551615,"packets_out":0,"level":0.1250,)"
                  R"("received_peak":0.0000})");
}

TEST(PeerLoop, RunsWhatWorkersPostInOrder) {
    peer_loop_install();
    std::vector<int> order;
    std::thread worker([&order] {
        for (int i = 0; i < 3; ++i) {
            run_on_main_thread([&order, i] { order.push_back(i); });
        }
    });
    while (order.size() < 3) {
        peer_loop_run_for(5);
    }
    worker.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    peer_loop_uninstall();
}

TEST(PeerLoop, DropsWhatStillWaitsAtTheEnd) {
    peer_loop_install();
    bool ran = false;
    std::thread([&ran] { run_on_main_thread([&ran] { ran = true; }); }).join();
    peer_loop_uninstall();
    peer_loop_install();
    peer_loop_run_for(1);
    peer_loop_uninstall();
    EXPECT_FALSE(ran);
}

TEST(PeerLoop, SignalEndsTheWait) {
    const std::vector<int> signals = console_end_signals();
    EXPECT_TRUE(std::ranges::count(signals, SIGINT) == 1 &&
                std::ranges::count(signals, SIGTERM) == 1);
    for (const int number : signals) {
        peer_loop_install();
        peer_loop_catch_signals();
        EXPECT_FALSE(peer_loop_was_interrupted());
        std::raise(number);
        EXPECT_TRUE(peer_loop_was_interrupted());
        peer_loop_run_for(60'000);
        peer_loop_uninstall();
        std::signal(number, SIG_DFL);
    }
}

class PeerDevices : public testing::Test {
  protected:
    PeerDevices() {
        fake_audio::reset();
        fake_audio::add_endpoint(AudioFlow::capture, "m1", "Desk microphone");
        fake_audio::add_endpoint(AudioFlow::capture, "m2", "Headset microphone");
        fake_audio::add_endpoint(AudioFlow::capture, "m3", "Headset");
        fake_audio::add_endpoint(AudioFlow::render, "s1", "Speaker\x07");
        Audio_Init();
    }
    ~PeerDevices() override { Audio_Cleanup(); }
};

using Indices = std::vector<std::int32_t>;

TEST_F(PeerDevices, AreFoundByIndex) {
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "0"), Indices{0});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "2"), Indices{2});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::output, "0"), Indices{0});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::output, "1"), Indices{});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "-1"), Indices{});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "99999999999999"), Indices{});
}

TEST_F(PeerDevices, AreFoundByTheirNameOrAPartThatOnlyOneHas) {
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "Headset microphone"), Indices{1});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "Headset"), Indices{2});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "Desk"), Indices{0});
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "microphone"), (Indices{0, 1}));
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "Piano"), Indices{});
}

TEST_F(PeerDevices, SelectionOfAnUnknownOneOrOfSeveralSaysWhy) {
    std::string name = "as before";
    EXPECT_EQ(select_peer_device(PeerDeviceKind::input, "Piano", name),
              "no such microphone: Piano");
    EXPECT_EQ(select_peer_device(PeerDeviceKind::input, "microphone", name),
              "microphone matches several microphones: 0 Desk microphone, 1 Headset microphone");
    EXPECT_EQ(select_peer_device(PeerDeviceKind::output, "1", name), "no such output: 1");
    EXPECT_EQ(name, "as before");
    EXPECT_EQ(select_peer_device(PeerDeviceKind::input, "Headset", name), "");
    EXPECT_EQ(name, "Headset");
}

TEST_F(PeerDevices, OfExactlyOneNameAreToldApartByTheirIndexOnly) {
    fake_audio::add_endpoint(AudioFlow::capture, "m4", "Headset");
    std::string name = "as before";
    EXPECT_EQ(find_peer_devices(PeerDeviceKind::input, "Headset"), (Indices{2, 3}));
    EXPECT_EQ(select_peer_device(PeerDeviceKind::input, "Headset", name),
              "Headset matches several microphones: 2 Headset, 3 Headset");
    EXPECT_EQ(name, "as before");
    EXPECT_EQ(select_peer_device(PeerDeviceKind::input, "3", name), "");
    EXPECT_EQ(name, "Headset");
}

TEST_F(PeerDevices, TellWhetherTheSoundServiceIsMissing) {
    EXPECT_EQ(Audio_IsServiceMissing(), 0);
    fake_audio::answer(fake_audio::Call::active_count, k_audio_fail);
    EXPECT_EQ(Audio_IsServiceMissing(), 0);
    fake_audio::answer(fake_audio::Call::active_count, k_audio_server_gone);
    EXPECT_EQ(Audio_IsServiceMissing(), 1);
    EXPECT_EQ(fake_audio::violations(), std::vector<std::string>{});
}

TEST_F(PeerDevices, AreListedWithTheDefaultMarked) {
    testing::internal::CaptureStdout();
    print_peer_devices();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Microphones:\n  0  Desk microphone  (default)\n  1  Headset microphone\n"
              "  2  Headset\nOutputs:\n  0  Speaker?  (default)\n");
}

TEST(PeerDevicesAbsent, AreListedAsNone) {
    fake_audio::reset();
    Audio_Init();
    testing::internal::CaptureStdout();
    print_peer_devices();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Microphones:\n  (none)\nOutputs:\n  (none)\n");
    Audio_Cleanup();
}

} // namespace
