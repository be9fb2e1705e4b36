// The device engine with its threads: packets that flow, devices that die or hang, and control from
// several threads at once.
#include "unit/audio/audio_engine_fixture.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

using namespace engine_test;
using fake_audio::Call;

namespace {

constexpr std::chrono::seconds k_patience{10};

std::atomic<int> g_inputs{0};
std::atomic<int> g_levels{0};
std::atomic<float> g_last_level{-1.0F};
std::atomic<std::thread::id> g_input_thread{};

void count_input(float*, std::int32_t) {
    g_input_thread = std::this_thread::get_id();
    ++g_inputs;
}

void count_level(float level) {
    g_last_level = level;
    ++g_levels;
}

/// Waits until `reached`; false after ten seconds.
template <typename Condition>
bool eventually(Condition reached) {
    const auto deadline = std::chrono::steady_clock::now() + k_patience;
    while (!reached()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool more_inputs(int count) {
    const int until = g_inputs + count;
    return eventually([until] { return g_inputs >= until; });
}

class AudioThreads : public AudioEngine {
  protected:
    void SetUp() override {
        AudioEngine::SetUp();
        g_inputs = 0;
        g_levels = 0;
        g_last_level = -1.0F;
        Audio_SetInputCallback(count_input);
        Audio_SetLevelCallback(count_level);
    }

    void TearDown() override {
        for (const Call call : {Call::capture_get_buffer, Call::padding}) {
            fake_audio::resume(call);
        }
        AudioEngine::TearDown();
    }
};

} // namespace

TEST_F(AudioThreads, PacketsFlowOnTheCaptureThreadUntilStop) {
    fake_audio::set_tone("mic", 0.2F, 480);
    start();
    ASSERT_TRUE(more_inputs(3));
    EXPECT_NE(g_input_thread.load(), std::this_thread::get_id());
    EXPECT_NEAR(g_last_level, 0.6F, 1e-5F);
    Audio_Stop();
    const int heard = g_inputs;
    EXPECT_EQ(fake_audio::count(Call::capture_get_buffer), heard);
    EXPECT_EQ(fake_audio::count(Call::capture_release_buffer), heard);
    EXPECT_EQ(fake_audio::thread_count(Call::capture_get_buffer), 1U);
}

TEST_F(AudioThreads, SettingsTakeEffectOnTheNextPacket) {
    fake_audio::set_tone("mic", 0.1F, 480);
    start();
    Audio_SetInputGain(3.0F);
    EXPECT_TRUE(eventually([] { return g_last_level > 0.85F; }));
    Audio_SetMuted(true);
    EXPECT_TRUE(eventually([] { return g_last_level == 0.0F; }));
    Audio_SetInputCallback(nullptr);
    Audio_SetMuted(false);
    EXPECT_TRUE(eventually([] { return g_last_level > 0.85F; }));
}

TEST_F(AudioThreads, PlayedSamplesReachTheLoudspeakerAtTheOutputVolume) {
    Audio_SetOutputVolume(0.5F);
    start();
    ASSERT_TRUE(fake_audio::wait_for_count(Call::render_release_buffer, 2));
    // A full device holds the reader still while the writer is brought to it.
    fake_audio::set_padding("speaker", 960);
    ASSERT_TRUE(fake_audio::wait_for_count(Call::padding, fake_audio::count(Call::padding) + 2));
    audio_engine::g_loopbackWritePos = audio_engine::g_loopbackReadPos.load();
    const Samples samples = tone(0.5F, 480);
    Audio_PlaySamples(samples.data(), 480);
    fake_audio::set_padding("speaker", 480);
    ASSERT_TRUE(fake_audio::wait_for_count(Call::render_release_buffer,
                                           fake_audio::count(Call::render_release_buffer) + 2));
    Audio_Stop();
    const Samples played = fake_audio::rendered("speaker");
    EXPECT_EQ(std::count(played.begin(), played.end(), 0.25F), 960);
    EXPECT_EQ(std::count(played.begin(), played.end(), 0.0F),
              static_cast<std::ptrdiff_t>(played.size()) - 960);
    EXPECT_EQ(fake_audio::count(Call::buffer_size), 1);
}

TEST_F(AudioThreads, ListeningTestIsHeard) {
    Audio_SetLoopback(true);
    fake_audio::set_tone("mic", 0.5F, 480);
    start();
    ASSERT_TRUE(eventually([] {
        const Samples played = fake_audio::rendered("speaker");
        return std::count(played.begin(), played.end(), 0.5F) >= 960;
    }));
}

// A busy machine makes every pause longer, so that only this tells the upper bound.
static_assert(audio_engine::k_poll_ms == 10);

TEST_F(AudioThreads, DeadDeviceLeavesBothThreadsPollingQuietly) {
    fake_audio::set_tone("mic", 0.1F, 480);
    start();
    ASSERT_TRUE(more_inputs(2));
    fake_audio::remove_endpoint("mic");
    fake_audio::remove_endpoint("speaker");
    const int looks = fake_audio::count(Call::next_packet_size);
    const int paddings = fake_audio::count(Call::padding);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, looks + 7));
    ASSERT_TRUE(fake_audio::wait_for_count(Call::padding, paddings + 7));
    // Five whole waits of 10 ms lie between at least, as the first look may end a pass under way.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(45));
    EXPECT_EQ(Audio_IsRunning(), 1);
    EXPECT_EQ(log_lines(), Lines{});

    // Unplugged devices cannot be started again, others can.
    Audio_Stop();
    clear_log();
    EXPECT_EQ(Audio_Start(), 0);
    EXPECT_EQ(log_lines(), Lines{"Error: Could not activate input client: 0x88890004"});
    Audio_SetInputDevice(0);
    Audio_SetOutputDevice(0);
    fake_audio::set_tone("mic2", 0.1F, 480);
    EXPECT_EQ(Audio_Start(), 1);
    EXPECT_TRUE(more_inputs(2));
}

TEST_F(AudioThreads, CaptureRecoversFromDeadDeviceByChoosingAnother) {
    fake_audio::set_tone("mic2", 0.1F, 480);
    start();
    fake_audio::remove_endpoint("mic");
    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size,
                                           fake_audio::count(Call::next_packet_size) + 2));
    Audio_SetInputDevice(0);
    EXPECT_EQ(Audio_IsRunning(), 1);
    EXPECT_TRUE(more_inputs(2));
}

TEST_F(AudioThreads, CaptureRecoversByStopAndStartWhenTheDeviceIsBack) {
    fake_audio::set_tone("mic", 0.1F, 480);
    start();
    fake_audio::answer(Call::next_packet_size, k_audio_device_gone);
    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size,
                                           fake_audio::count(Call::next_packet_size) + 2));
    fake_audio::heal(Call::next_packet_size);
    Audio_Stop();
    ASSERT_EQ(Audio_Start(), 1);
    EXPECT_TRUE(more_inputs(2));
}

TEST_F(AudioThreads, ChangingTheDeviceWhilePacketsFlowContinuesOnTheNewOne) {
    fake_audio::set_tone("mic", 0.1F, 480);
    fake_audio::set_tone("mic2", 0.3F, 480);
    start();
    ASSERT_TRUE(eventually([] { return g_last_level > 0.25F && g_last_level < 0.35F; }));
    for (int round = 0; round < 5; ++round) {
        Audio_SetInputDevice(1);
        ASSERT_EQ(Audio_IsRunning(), 1);
        ASSERT_TRUE(eventually([] { return g_last_level > 0.85F; }));
        Audio_SetInputDevice(0);
        ASSERT_TRUE(eventually([] { return g_last_level < 0.35F; }));
    }
    Audio_SetOutputDevice(1);
    const Samples samples = tone(0.5F, 12000); // all of the ring, wherever the reader stands
    Audio_PlaySamples(samples.data(), 12000);
    EXPECT_TRUE(eventually([] {
        const Samples played = fake_audio::rendered("speaker2");
        return std::count(played.begin(), played.end(), 0.5F) > 0;
    }));
    EXPECT_EQ(fake_audio::live_handles(), 7);
}

TEST_F(AudioThreads, StopEndsWhileCallbacksUseTheEngine) {
    fake_audio::set_tone("mic", 0.1F, 480);
    Audio_SetInputCallback([](float* samples, std::int32_t frames) {
        Audio_PlaySamples(samples, frames);
        Audio_SetInputGain(1.0F);
        Audio_SetMuted(false);
        Audio_SetLevelCallback(Audio_IsRunning() != 0 ? count_level : nullptr);
        ++g_inputs;
    });
    start();
    for (int round = 0; round < 10; ++round) {
        ASSERT_TRUE(more_inputs(1));
        const auto begin = std::chrono::steady_clock::now();
        Audio_Stop();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
        ASSERT_EQ(Audio_Start(), 1);
    }
}

TEST_F(AudioThreads, ControlFromSeveralThreadsAtOnceIsSafe) {
    for (const char* mic : {"mic", "mic2"}) {
        fake_audio::set_tone(mic, 0.1F, 480);
    }
    Audio_SetLoopback(true);
    start();
    std::atomic<bool> done{false};
    std::thread player([&done] {
        const Samples samples = tone(0.25F, 480);
        while (!done) {
            Audio_PlaySamples(samples.data(), 480);
            std::this_thread::yield();
        }
    });
    std::thread stopper([&done] {
        while (!done) {
            Audio_Stop(); // as a lost voice connection does
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
    });
    std::thread setter([&done] {
        for (int turn = 0; !done; ++turn) {
            Audio_SetInputGain(static_cast<float>(turn % 3));
            Audio_SetOutputVolume(0.5F);
            Audio_SetMuted(turn % 4 == 0);
            Audio_SetLoopback(turn % 2 == 0);
            Audio_SetLevelCallback(turn % 2 == 0 ? count_level : nullptr);
            Audio_SetInputCallback(turn % 3 == 0 ? nullptr : count_input);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int round = 0; round < 60; ++round) {
        Audio_Start();
        Audio_MeasureDelays();
        Audio_SetInputDevice(round % 3);
        Audio_SetInputDevice(0);
        Audio_SetOutputDevice(round % 3);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (round % 5 == 0) {
            Audio_Stop();
        }
    }
    done = true;
    player.join();
    stopper.join();
    setter.join();

    Audio_SetInputCallback(count_input);
    Audio_SetMuted(false);
    Audio_SetOutputDevice(0);
    ASSERT_EQ(Audio_Start(), 1);
    EXPECT_TRUE(more_inputs(2));
    EXPECT_EQ(fake_audio::live_handles(), 7);
    for (const float sample : fake_audio::rendered("speaker")) {
        ASSERT_LE(std::abs(sample), 1.0F);
    }
}

TEST_F(AudioThreads, StartAndStopOnTwoThreadsNeverOverlap) {
    fake_audio::set_tone("mic", 0.1F, 480);
    start();
    const auto toggle = [] {
        for (int round = 0; round < 100; ++round) {
            Audio_Start();
            Audio_Stop();
        }
    };
    std::thread other(toggle);
    toggle();
    other.join();
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(fake_audio::live_handles(), 7);
}

TEST_F(AudioThreads, CaptureThatHangsIsLeftBehindWithItsHandles) {
    fake_audio::set_tone("mic", 0.1F, 480);
    fake_audio::hang(Call::capture_get_buffer);
    start();
    ASSERT_TRUE(fake_audio::wait_until_hanging(Call::capture_get_buffer));
    const auto begin = std::chrono::steady_clock::now();
    Audio_Stop();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(990));
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(log_lines(), Lines{"Audio capture stopped"});

    // A new session has streams and threads of its own.
    ASSERT_EQ(Audio_Start(), 1);
    EXPECT_EQ(fake_audio::live_handles(), 7 + 2);
    ASSERT_TRUE(more_inputs(2));
    EXPECT_EQ(fake_audio::thread_count(Call::capture_get_buffer), 2U);
    Audio_SetInputDevice(1);
    EXPECT_EQ(fake_audio::live_handles(), 7 + 2);

    // The old thread wakes with a packet in its hand, keeps it to itself and frees its handles.
    const int inputs = g_inputs;
    const int levels = g_levels;
    fake_audio::resume(Call::capture_get_buffer);
    EXPECT_TRUE(eventually([] { return fake_audio::live_handles() == 7; }));
    EXPECT_EQ(g_inputs, inputs);
    EXPECT_EQ(g_levels, levels);
}

TEST_F(AudioThreads, StopWaitsOneSecondForEachOfTwoThreadsThatHang) {
    fake_audio::set_tone("mic", 0.1F, 480);
    fake_audio::hang(Call::capture_get_buffer);
    fake_audio::hang(Call::padding);
    start();
    ASSERT_TRUE(fake_audio::wait_until_hanging(Call::capture_get_buffer));
    ASSERT_TRUE(fake_audio::wait_until_hanging(Call::padding));
    const auto begin = std::chrono::steady_clock::now();
    Audio_Stop();
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::milliseconds(1980));
    EXPECT_LT(waited, std::chrono::milliseconds(2900));
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(log_lines(), Lines{"Audio capture stopped"});

    // Both keep their two handles beside those of the next session.
    ASSERT_EQ(Audio_Start(), 1);
    EXPECT_EQ(fake_audio::live_handles(), 7 + 4);
    ASSERT_TRUE(more_inputs(2));
    fake_audio::resume(Call::capture_get_buffer);
    fake_audio::resume(Call::padding);
    EXPECT_TRUE(eventually([] { return fake_audio::live_handles() == 7; }));
}

TEST_F(AudioThreads, RenderThatHangsKeepsTheSystemUpThroughCleanup) {
    fake_audio::hang(Call::padding);
    start();
    ASSERT_TRUE(fake_audio::wait_until_hanging(Call::padding));
    Audio_Cleanup();
    EXPECT_EQ(log_lines(), (Lines{"Audio capture stopped", "Audio system cleaned up"}));
    EXPECT_EQ(fake_audio::live_handles(), 2);
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 0);

    fake_audio::resume(Call::padding);
    EXPECT_TRUE(eventually([] { return fake_audio::live_handles() == 0; }));
    EXPECT_EQ(fake_audio::violations(), Lines{});

    // The system that stayed up serves the next round and ends with it.
    ASSERT_EQ(Audio_Init(), 1);
    EXPECT_EQ(fake_audio::count(Call::system_init), 1);
    EXPECT_TRUE(eventually([] {
        Audio_Cleanup();
        return fake_audio::count(Call::system_uninit) == 1;
    }));
}
