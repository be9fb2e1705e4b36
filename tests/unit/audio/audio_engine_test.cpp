// The device engine from the outside: set-up, start, stop, clean-up, their failures and log lines.
#include "unit/audio/audio_engine_fixture.h"

#include <algorithm>
#include <ostream>
#include <utility>

using namespace engine_test;
using fake_audio::Call;

TEST_F(AudioEngine, InitSetsUpSystemEnumeratorAndDefaultDevicesInOrder) {
    EXPECT_EQ(Audio_Init(), 1);
    EXPECT_EQ(fake_audio::calls(),
              (Lines{"system init", "create enumerator", "default capture", "default render"}));
    EXPECT_EQ(log_lines(), Lines{"Audio system initialized"});
    EXPECT_EQ(Audio_IsRunning(), 0);
}

TEST_F(AudioEngine, InitFailsWithTheSystemsCode) {
    fake_audio::answer(Call::system_init, audio_code(0x8007000E));
    EXPECT_EQ(Audio_Init(), 0);
    EXPECT_EQ(log_lines(), Lines{"Error: CoInitializeEx failed: 0x8007000E"});
    EXPECT_EQ(fake_audio::count(Call::enumerator_create), 0);
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 0);
}

TEST_F(AudioEngine, InitAcceptsThreadSetUpInAnotherModeAndNeverEndsThatSetUp) {
    fake_audio::answer(Call::system_init, k_audio_changed_mode);
    EXPECT_EQ(Audio_Init(), 1);
    EXPECT_EQ(log_lines(), Lines{"Audio system initialized"});
    Audio_Cleanup();
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 0);
}

TEST_F(AudioEngine, InitCountsRepeatedSetUpAsSuccess) {
    fake_audio::answer(Call::system_init, AudioResult{1});
    EXPECT_EQ(Audio_Init(), 1);
    Audio_Cleanup();
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 1);
}

TEST_F(AudioEngine, InitWithoutEnumeratorFailsAndEndsTheSystem) {
    fake_audio::answer(Call::enumerator_create, audio_code(0x80040154));
    EXPECT_EQ(Audio_Init(), 0);
    EXPECT_EQ(log_lines(), Lines{"Error: Could not create device enumerator: 0x80040154"});
    EXPECT_EQ(fake_audio::calls(), (Lines{"system init", "create enumerator", "system uninit"}));

    Audio_Cleanup();
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 1);
}

TEST_F(AudioEngine, InitOnlyWarnsOfMissingDefaultDevices) {
    fake_audio::set_default(AudioFlow::capture, "");
    fake_audio::answer(Call::default_device, k_audio_fail, AudioFlow::render);
    EXPECT_EQ(Audio_Init(), 1);
    EXPECT_EQ(log_lines(),
              (Lines{"Warning: No default input device: 0x80070490",
                     "Warning: No default output device: 0x80004005", "Audio system initialized"}));
}

TEST_F(AudioEngine, StartOpensBothStreamsInOrderInTheFixedFormat) {
    ASSERT_EQ(Audio_Init(), 1);
    clear_log();
    const std::size_t before = fake_audio::calls().size();
    EXPECT_EQ(Audio_Start(), 1);
    EXPECT_EQ(Audio_IsRunning(), 1);
    Lines calls = fake_audio::calls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(calls, (Lines{"activate mic", "initialize 2x48000 20 ms mic", "capture service mic",
                            "activate speaker", "initialize 2x48000 20 ms speaker",
                            "render service speaker", "start mic", "start speaker"}));
    EXPECT_EQ(log_lines(), Lines{"Audio capture started"});
}

TEST_F(AudioEngine, StartTwiceReturnsOneWithoutNewStreamsOrThreads) {
    start();
    const Lines calls = fake_audio::calls();
    EXPECT_EQ(Audio_Start(), 1);
    EXPECT_EQ(fake_audio::calls(), calls);
    EXPECT_EQ(log_lines(), Lines{});
    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, 4));
    ASSERT_TRUE(fake_audio::wait_for_count(Call::padding, 4));
    EXPECT_EQ(fake_audio::thread_count(Call::next_packet_size), 1U);
    EXPECT_EQ(fake_audio::thread_count(Call::padding), 1U);
}

TEST_F(AudioEngine, StartBeforeInitReturnsZeroSilently) {
    EXPECT_EQ(Audio_Start(), 0);
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_EQ(fake_audio::calls(), Lines{});
}

TEST_F(AudioEngine, StartWithoutInputDeviceReturnsZeroSilently) {
    fake_audio::set_default(AudioFlow::capture, "");
    ASSERT_EQ(Audio_Init(), 1);
    clear_log();
    EXPECT_EQ(Audio_Start(), 0);
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_EQ(fake_audio::count(Call::activate), 0);
}

TEST_F(AudioEngine, StartFallsBackToTheMixFormatOnTheSameClient) {
    fake_audio::answer(Call::initialize, k_audio_unsupported_format, AudioFlow::capture);
    fake_audio::push_packet("mic", tone(0.25F, 4));
    Audio_SetLoopback(true);
    start();
    EXPECT_EQ(fake_audio::count(Call::initialize_mix_format), 1);
    EXPECT_EQ(fake_audio::count(Call::activate), 2);
    const Lines calls = fake_audio::calls();
    EXPECT_NE(std::ranges::find(calls, "initialize mix format 20 ms mic"), calls.end());
    ASSERT_TRUE(fake_audio::wait_for_count(Call::capture_release_buffer, 1));
    Audio_Stop();
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 8);
}

namespace {

struct StartFailure {
    const char* name;
    std::vector<std::pair<Call, AudioResult>> answers;
    const char* line;
};

void PrintTo(const StartFailure& failure, std::ostream* out) {
    *out << failure.name;
}

class AudioEngineStartFailure : public AudioEngine,
                                public ::testing::WithParamInterface<StartFailure> {};

} // namespace

TEST_P(AudioEngineStartFailure, LogsTheCodeStaysStoppedAndRecoversWhenTheDeviceDoes) {
    ASSERT_EQ(Audio_Init(), 1);
    clear_log();
    for (const auto& [call, code] : GetParam().answers) {
        fake_audio::answer(call, code, AudioFlow::capture);
    }
    for (int attempt = 0; attempt < 3; ++attempt) {
        clear_log();
        EXPECT_EQ(Audio_Start(), 0);
        EXPECT_EQ(Audio_IsRunning(), 0);
        EXPECT_EQ(log_lines(), Lines{GetParam().line});
    }
    EXPECT_EQ(fake_audio::count(Call::next_packet_size), 0);
    // Enumerator, two devices, and no more than one attempt's clients and services.
    EXPECT_LE(fake_audio::live_handles(), 7);

    const float half[] = {0.5F, 0.5F};
    Audio_PlaySamples(half, 1);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);

    Audio_Stop();
    EXPECT_EQ(fake_audio::count(Call::stop), 0);

    for (const auto& [call, code] : GetParam().answers) {
        fake_audio::heal(call);
    }
    clear_log();
    EXPECT_EQ(Audio_Start(), 1);
    EXPECT_EQ(log_lines(), Lines{"Audio capture started"});
    EXPECT_EQ(fake_audio::live_handles(), 7);
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall, AudioEngineStartFailure,
    ::testing::Values(StartFailure{"Activate",
                                   {{Call::activate, k_audio_device_gone}},
                                   "Error: Could not activate input client: 0x88890004"},
                      StartFailure{"InitializeBothFormats",
                                   {{Call::initialize, k_audio_unsupported_format},
                                    {Call::initialize_mix_format, audio_code(0x8889000A)}},
                                   "Error: Could not initialize input client: 0x8889000A"},
                      StartFailure{"CaptureService",
                                   {{Call::capture_service, k_audio_not_initialized}},
                                   "Error: Could not get capture client: 0x88890001"},
                      StartFailure{"Start",
                                   {{Call::start, k_audio_server_gone}},
                                   "Error: Could not start capture: 0x88890010"}),
    [](const auto& each) { return std::string(each.param.name); });

namespace {

class AudioEngineOutputFailure : public AudioEngine, public ::testing::WithParamInterface<Call> {};

} // namespace

TEST_P(AudioEngineOutputFailure, LeavesSilentCaptureOnlySession) {
    ASSERT_EQ(Audio_Init(), 1);
    clear_log();
    fake_audio::answer(GetParam(), k_audio_fail, AudioFlow::render);
    EXPECT_EQ(Audio_Start(), 1);
    EXPECT_EQ(log_lines(), Lines{"Audio capture started"});
    EXPECT_EQ(fake_audio::count(Call::initialize_mix_format), 0);

    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, 3));
    const float half[] = {0.5F, 0.5F};
    Audio_PlaySamples(half, 1);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
    EXPECT_EQ(ring_at(0), 0.0F);

    Audio_Stop();
    EXPECT_EQ(fake_audio::count(Call::buffer_size), 0);
    EXPECT_EQ(fake_audio::count(Call::padding), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryCall, AudioEngineOutputFailure,
                         ::testing::Values(Call::activate, Call::initialize, Call::render_service),
                         [](const auto& each) {
                             switch (each.param) {
                             case Call::activate:
                                 return "Activate";
                             case Call::initialize:
                                 return "Initialize";
                             default:
                                 return "RenderService";
                             }
                         });

TEST_F(AudioEngine, OutputThatFailsOnRestartDoesNotKeepTheOldRenderService) {
    start();
    ASSERT_TRUE(fake_audio::wait_for_count(Call::padding, 1));
    Audio_Stop();
    const int paddings = fake_audio::count(Call::padding);
    fake_audio::answer(Call::activate, k_audio_device_gone, AudioFlow::render);
    ASSERT_EQ(Audio_Start(), 1);
    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size,
                                           fake_audio::count(Call::next_packet_size) + 3));
    const float half[] = {0.5F, 0.5F};
    Audio_PlaySamples(half, 1);
    EXPECT_EQ(ring_at(0), 0.0F);
    EXPECT_EQ(fake_audio::count(Call::padding), paddings);
}

TEST_F(AudioEngine, OutputThatDoesNotStartIsIgnored) {
    fake_audio::answer(Call::start, k_audio_fail, AudioFlow::render);
    ASSERT_EQ(Audio_Init(), 1);
    clear_log();
    EXPECT_EQ(Audio_Start(), 1);
    EXPECT_EQ(log_lines(), Lines{"Audio capture started"});
    EXPECT_TRUE(fake_audio::wait_for_count(Call::padding, 1));
}

TEST_F(AudioEngine, SessionWithoutOutputDeviceOnlyCaptures) {
    fake_audio::set_default(AudioFlow::render, "");
    start();
    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, 3));
    const float half[] = {0.5F, 0.5F};
    Audio_PlaySamples(half, 1);
    EXPECT_EQ(ring_at(0), 0.0F);
    Audio_Stop();
    EXPECT_EQ(fake_audio::count(Call::buffer_size), 0);
    EXPECT_EQ(fake_audio::count(Call::stop), 1);
}

TEST_F(AudioEngine, RenderThreadEndsWhenTheBufferSizeIsUnknownAndCaptureGoesOn) {
    fake_audio::answer(Call::buffer_size, k_audio_device_gone);
    start();
    ASSERT_TRUE(fake_audio::wait_for_count(Call::buffer_size, 1));
    ASSERT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, 3));
    EXPECT_EQ(Audio_IsRunning(), 1);
    Audio_Stop();
    EXPECT_EQ(fake_audio::count(Call::padding), 0);
    EXPECT_EQ(fake_audio::count(Call::buffer_size), 1);
}

TEST_F(AudioEngine, StopWithoutStartDoesNothing) {
    Audio_Stop();
    ASSERT_EQ(Audio_Init(), 1);
    clear_log();
    Audio_Stop();
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_EQ(fake_audio::count(Call::stop), 0);
}

TEST_F(AudioEngine, StopStopsInputThenOutputAndKeepsTheHandles) {
    start();
    const Lines before = fake_audio::calls();
    const int handles = fake_audio::live_handles();
    Audio_Stop();
    EXPECT_EQ(Audio_IsRunning(), 0);
    Lines expected = before;
    expected.insert(expected.end(), {"stop mic", "stop speaker"});
    EXPECT_EQ(fake_audio::calls(), expected);
    EXPECT_EQ(fake_audio::live_handles(), handles);
    EXPECT_EQ(log_lines(), Lines{"Audio capture stopped"});

    clear_log();
    Audio_Stop();
    EXPECT_EQ(fake_audio::calls(), expected);
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(AudioEngine, RestartReplacesTheStreamsWithoutLeaking) {
    start();
    const int handles = fake_audio::live_handles();
    for (int round = 0; round < 5; ++round) {
        Audio_Stop();
        ASSERT_EQ(Audio_Start(), 1);
        EXPECT_EQ(fake_audio::live_handles(), handles);
    }
    EXPECT_EQ(fake_audio::acquired_handles(), handles + 5 * 4);
}

TEST_F(AudioEngine, AudioLeftInTheRingIsPlayedOnTheNextStart) {
    fake_audio::set_padding("speaker", 960); // full: nothing drains
    start();
    const Samples left = tone(0.5F, 100);
    Audio_PlaySamples(left.data(), 100);
    Audio_Stop();
    EXPECT_EQ(ring_at(199), 0.5F);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 200);

    fake_audio::set_padding("speaker", 480);
    ASSERT_EQ(Audio_Start(), 1);
    ASSERT_TRUE(fake_audio::wait_for_count(Call::render_release_buffer, 1));
    Audio_Stop();
    Samples played = fake_audio::rendered("speaker");
    ASSERT_GE(played.size(), 960U);
    played.resize(960);
    Samples expected = left;
    expected.resize(960, 0.0F);
    EXPECT_EQ(played, expected);
}

TEST_F(AudioEngine, CleanupReleasesEverythingInOrder) {
    start();
    const std::size_t before = fake_audio::calls().size();
    Audio_Cleanup();
    Lines calls = fake_audio::calls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(calls, (Lines{"stop mic", "stop speaker", "release capture service mic",
                            "release render service speaker", "release client mic",
                            "release client speaker", "release device mic",
                            "release device speaker", "release enumerator", "system uninit"}));
    EXPECT_EQ(log_lines(), (Lines{"Audio capture stopped", "Audio system cleaned up"}));
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(Audio_Start(), 0);
}

TEST_F(AudioEngine, CleanupWithoutInitOnlyLogs) {
    Audio_Cleanup();
    Audio_Cleanup();
    EXPECT_EQ(log_lines(), (Lines{"Audio system cleaned up", "Audio system cleaned up"}));
    EXPECT_EQ(fake_audio::calls(), Lines{});
}

TEST_F(AudioEngine, InitAfterCleanupWorksAgain) {
    start();
    Audio_Cleanup();
    start();
    EXPECT_EQ(fake_audio::live_handles(), 7);
}

TEST_F(AudioEngine, SecondInitKeepsTheSystemBalanced) {
    ASSERT_EQ(Audio_Init(), 1);
    ASSERT_EQ(Audio_Init(), 1);
    EXPECT_EQ(fake_audio::live_handles(), 3);
    Audio_Cleanup();
    EXPECT_EQ(fake_audio::count(Call::system_init), 1);
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 1);
}

TEST_F(AudioEngine, SecondInitThatFailsLeavesTheRunningEngineAlone) {
    start();
    fake_audio::answer(Call::enumerator_create, k_audio_fail);
    EXPECT_EQ(Audio_Init(), 0);
    EXPECT_EQ(log_lines(), Lines{"Error: Could not create device enumerator: 0x80004005"});
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 0);
    EXPECT_EQ(fake_audio::live_handles(), 7);
    EXPECT_EQ(Audio_IsRunning(), 1);
    const int looks = fake_audio::count(Call::next_packet_size);
    EXPECT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, looks + 2));

    EXPECT_EQ(Audio_GetInputDeviceCount(), 2);
    Audio_SetInputDevice(1);
    EXPECT_EQ(Audio_IsRunning(), 1);
    Audio_Cleanup();
    EXPECT_EQ(fake_audio::count(Call::system_uninit), 1);
    EXPECT_EQ(fake_audio::live_handles(), 0);
}

TEST_F(AudioEngine, SettersStoreTheValueAsGivenAndLogIt) {
    Audio_SetInputGain(2.5F);
    Audio_SetInputGain(-1.0F);
    Audio_SetOutputVolume(17.126F);
    Audio_SetLoopback(true);
    Audio_SetLoopback(false);
    Audio_SetMuted(true);
    Audio_SetMuted(false);
    EXPECT_EQ(audio_engine::g_inputGain, -1.0F);
    EXPECT_EQ(audio_engine::g_outputVolume, 17.126F);
    EXPECT_EQ(log_lines(),
              (Lines{"Set input gain: 2.50", "Set input gain: -1.00", "Set output volume: 17.13",
                     "Set loopback: ON", "Set loopback: OFF", "Set muted: ON", "Set muted: OFF"}));
}

TEST_F(AudioEngine, DelaysAreZeroUnlessRunning) {
    fake_audio::set_latency_us("mic", 7500);
    audio_engine::g_loopbackWritePos = 960;
    ASSERT_EQ(Audio_Init(), 1);
    const AudioDelays delays = Audio_MeasureDelays();
    EXPECT_EQ(delays.capture, 0.0F);
    EXPECT_EQ(delays.ring, 0.0F);
    EXPECT_EQ(delays.render, 0.0F);
}

TEST_F(AudioEngine, DelaysAddUpWhatIsQueuedAndWhatTheSystemReports) {
    fake_audio::set_latency_us("mic", 7500);
    fake_audio::set_latency_us("speaker", 2250);
    fake_audio::set_padding("speaker", 960); // full: the render thread leaves the ring alone
    start();
    audio_engine::g_loopbackWritePos = 480;
    audio_engine::g_loopbackReadPos = 24000 - 480;
    const AudioDelays delays = Audio_MeasureDelays();
    EXPECT_FLOAT_EQ(delays.capture, 7.5F);
    EXPECT_FLOAT_EQ(delays.ring, 10.0F);
    EXPECT_FLOAT_EQ(delays.render, 20.0F + 2.25F);
}

TEST_F(AudioEngine, DelaysThatTheSystemDoesNotKnowAreZero) {
    fake_audio::answer(Call::latency, k_audio_fail);
    fake_audio::set_padding("speaker", 960);
    start();
    EXPECT_EQ(Audio_MeasureDelays().capture, 0.0F);
    EXPECT_FLOAT_EQ(Audio_MeasureDelays().render, 20.0F);
    fake_audio::answer(Call::padding, k_audio_device_gone);
    EXPECT_EQ(Audio_MeasureDelays().render, 0.0F);
}

TEST_F(AudioEngine, DelaysOfCaptureOnlySessionHaveNoRenderPart) {
    fake_audio::set_default(AudioFlow::render, "");
    fake_audio::set_latency_us("mic", 1000);
    start();
    EXPECT_FLOAT_EQ(Audio_MeasureDelays().capture, 1.0F);
    EXPECT_EQ(Audio_MeasureDelays().render, 0.0F);
}
