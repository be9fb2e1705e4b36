// What happens to samples: single passes of the capture and render threads, driven by hand, and the
// ring between them.
#include "support/allocation_counter.h"
#include "unit/audio/audio_engine_fixture.h"

#include <cmath>
#include <cstddef>

using namespace engine_test;
using fake_audio::Call;

namespace {

constexpr double k_pi = 3.14159265358979323846;

/// One open stream of each direction, without threads.
class AudioStreams : public AudioEngine {
  protected:
    void SetUp() override {
        AudioEngine::SetUp();
        ASSERT_TRUE(audio_ok(audio_system_init()));
        ASSERT_TRUE(audio_ok(audio_enumerator_create(m_enumerator)));
        open(AudioFlow::capture, m_input);
        open(AudioFlow::render, m_output);
        ASSERT_TRUE(audio_ok(audio_client_capture_service(*m_input, m_capture)));
        ASSERT_TRUE(audio_ok(audio_client_render_service(*m_output, m_render)));
        ASSERT_TRUE(audio_ok(audio_client_start(*m_input)));
        ASSERT_TRUE(audio_ok(audio_client_start(*m_output)));
        Audio_SetInputCallback(hear_input);
        Audio_SetLevelCallback(hear_level);
    }

    void TearDown() override {
        m_render.reset();
        m_capture.reset();
        m_output.reset();
        m_input.reset();
        m_enumerator.reset();
        AudioEngine::TearDown();
    }

    void open(AudioFlow flow, AudioPtr<AudioClient>& client) {
        AudioPtr<AudioDevice> device;
        ASSERT_TRUE(audio_ok(audio_default_device(*m_enumerator, flow, device)));
        ASSERT_TRUE(audio_ok(audio_device_activate(*device, client)));
        ASSERT_TRUE(audio_ok(audio_client_initialize(*client, k_stereo_48k, 20)));
    }

    void capture(const Samples& packet) {
        fake_audio::push_packet("mic", packet);
        audio_engine::capture_pass(*m_capture, m_stop);
    }

    /// Plays as many frames as fit above the padding of 480.
    Samples render(std::uint32_t buffer_frames) {
        const std::size_t before = fake_audio::rendered("speaker").size();
        fake_audio::set_buffer_frames("speaker", buffer_frames);
        audio_engine::render_pass(*m_output, *m_render, buffer_frames, m_stop);
        const Samples all = fake_audio::rendered("speaker");
        return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
    }

    AudioPtr<AudioEnumerator> m_enumerator;
    AudioPtr<AudioClient> m_input;
    AudioPtr<AudioClient> m_output;
    AudioPtr<AudioCaptureService> m_capture;
    AudioPtr<AudioRenderService> m_render;
    StopEvent m_stop;
};

} // namespace

TEST(AudioLevel, IsThreeTimesTheRootMeanSquareCappedAtOne) {
    using audio_engine::CalculateRMS;
    const Samples none;
    EXPECT_EQ(CalculateRMS(none.data(), 0), 0.0F);
    const Samples silence(960, 0.0F);
    EXPECT_EQ(CalculateRMS(silence.data(), 960), 0.0F);
    Samples square(960);
    for (std::size_t sample = 0; sample < square.size(); ++sample) {
        square[sample] = sample % 2 == 0 ? 1.0F : -1.0F;
    }
    EXPECT_EQ(CalculateRMS(square.data(), 960), 1.0F);
    Samples sine(960);
    for (std::size_t sample = 0; sample < sine.size(); ++sample) {
        sine[sample] = static_cast<float>(
            0.1 * std::sin(2.0 * k_pi * 10.0 * static_cast<double>(sample) / 960.0));
    }
    EXPECT_NEAR(CalculateRMS(sine.data(), 960), 0.2121F, 0.0005F);
    const Samples third(960, 1.0F / 3.0F);
    EXPECT_NEAR(CalculateRMS(third.data(), 960), 1.0F, 1e-5F);
    const Samples quiet(960, 0.2F);
    EXPECT_NEAR(CalculateRMS(quiet.data(), 960), 0.6F, 1e-5F);
}

TEST_F(AudioStreams, PacketReachesTheCallbacksAmplifiedLevelFirst) {
    Audio_SetInputGain(2.0F);
    capture({0.1F, -0.1F, 0.1F, -0.1F});
    ASSERT_EQ(g_heard.packets.size(), 1U);
    EXPECT_EQ(g_heard.packets[0].frames, 2);
    EXPECT_EQ(g_heard.packets[0].samples, (Samples{0.2F, -0.2F, 0.2F, -0.2F}));
    ASSERT_EQ(g_heard.levels.size(), 1U);
    EXPECT_NEAR(g_heard.levels[0], 0.6F, 1e-6F);
    EXPECT_EQ(g_heard.order, (Lines{"level", "input"}));
    EXPECT_EQ(fake_audio::count(Call::capture_release_buffer), 1);
}

TEST_F(AudioStreams, EveryWaitingPacketIsPassedOnInItsOwnSize) {
    fake_audio::push_packet("mic", tone(0.1F, 480));
    fake_audio::push_packet("mic", tone(0.2F, 1));
    capture(tone(0.3F, 441));
    ASSERT_EQ(g_heard.packets.size(), 3U);
    EXPECT_EQ(g_heard.packets[0].frames, 480);
    EXPECT_EQ(g_heard.packets[1].frames, 1);
    EXPECT_EQ(g_heard.packets[1].samples, tone(0.2F, 1));
    EXPECT_EQ(g_heard.packets[2].frames, 441);
}

TEST_F(AudioStreams, PacketLongerThanTenMillisecondsIsPassedOnWhole) {
    Audio_SetInputGain(2.0F);
    Audio_SetLoopback(true);
    std::int32_t written = 0;
    for (const std::size_t frames : {std::size_t{960}, std::size_t{4800}}) {
        g_heard = {};
        Samples packet = tone(0.1F, frames);
        packet.back() = 0.25F;
        capture(packet);
        ASSERT_EQ(g_heard.packets.size(), 1U);
        EXPECT_EQ(g_heard.packets[0].frames, static_cast<std::int32_t>(frames));
        Samples heard = tone(0.2F, frames);
        heard.back() = 0.5F;
        EXPECT_EQ(g_heard.packets[0].samples, heard);
        ASSERT_EQ(g_heard.levels.size(), 1U);
        EXPECT_NEAR(g_heard.levels[0], 0.6F, 1e-3F);
        written += static_cast<std::int32_t>(frames) * 2;
        EXPECT_EQ(audio_engine::g_loopbackWritePos, written);
        EXPECT_EQ(ring_at(static_cast<std::size_t>(written) - 1), 0.5F);
    }
    EXPECT_EQ(ring_at(static_cast<std::size_t>(written)), 0.0F);
}

TEST_F(AudioStreams, PacketLongerThanTheRingGoesAroundIt) {
    Audio_SetLoopback(true);
    Samples packet = tone(0.5F, 12001);
    packet[24000] = 0.25F;
    capture(packet);
    EXPECT_EQ(g_heard.packets[0].frames, 12001);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 2);
    EXPECT_EQ(ring_at(0), 0.25F);
    EXPECT_EQ(ring_at(23999), 0.5F);
}

TEST_F(AudioStreams, NoPacketMeansNoCallback) {
    audio_engine::capture_pass(*m_capture, m_stop);
    EXPECT_EQ(g_heard.order, Lines{});
    EXPECT_EQ(fake_audio::count(Call::capture_get_buffer), 0);
}

TEST_F(AudioStreams, MutedCaptureReportsSilenceAndPassesNothingOn) {
    Audio_SetLoopback(true);
    Audio_SetMuted(true);
    capture(tone(0.9F, 480));
    EXPECT_EQ(g_heard.levels, Samples{0.0F});
    EXPECT_TRUE(g_heard.packets.empty());
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
    EXPECT_EQ(ring_at(0), 0.0F);

    Audio_SetMuted(false);
    capture(tone(0.9F, 480));
    EXPECT_EQ(g_heard.packets.size(), 1U);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 960);
}

TEST_F(AudioStreams, LoopbackCopiesTheAmplifiedPacketOverWhatTheRingHeld) {
    audio_engine::g_loopbackBuffer[0] = 0.7F;
    audio_engine::g_loopbackBuffer[4] = 0.7F;
    Audio_SetLoopback(true);
    Audio_SetInputGain(3.0F);
    capture(tone(0.5F, 2));
    for (std::size_t sample = 0; sample < 4; ++sample) {
        EXPECT_EQ(ring_at(sample), 1.5F); // copied as it is, not clamped
    }
    EXPECT_EQ(ring_at(4), 0.7F);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 4);
}

TEST_F(AudioStreams, LoopbackOffLeavesTheRingAlone) {
    capture(tone(0.5F, 480));
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
    EXPECT_EQ(ring_at(0), 0.0F);
}

TEST_F(AudioStreams, LoopbackHearsWhatTheInputCallbackMadeOfThePacket) {
    Audio_SetInputCallback([](float* samples, std::int32_t) { samples[0] = 0.125F; });
    Audio_SetLoopback(true);
    capture(tone(0.5F, 1));
    EXPECT_EQ(ring_at(0), 0.125F);
    EXPECT_EQ(ring_at(1), 0.5F);
}

TEST_F(AudioStreams, LoopbackWrapsAtTheRingsEnd) {
    audio_engine::g_loopbackWritePos = 23998;
    Audio_SetLoopback(true);
    capture({0.1F, 0.2F, 0.3F, 0.4F});
    EXPECT_EQ(ring_at(23998), 0.1F);
    EXPECT_EQ(ring_at(23999), 0.2F);
    EXPECT_EQ(ring_at(0), 0.3F);
    EXPECT_EQ(ring_at(1), 0.4F);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 2);
}

TEST_F(AudioStreams, PositionEndsAtZeroWhenThePacketEndsAtTheRingsEnd) {
    audio_engine::g_loopbackWritePos = 23996;
    Audio_SetLoopback(true);
    capture(tone(0.5F, 2));
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
    EXPECT_EQ(ring_at(23999), 0.5F);
    EXPECT_EQ(ring_at(0), 0.0F);
}

TEST_F(AudioStreams, CallbacksMayBeReplacedAndRemoved) {
    Audio_SetInputCallback(nullptr);
    Audio_SetLevelCallback(nullptr);
    capture(tone(0.5F, 4));
    EXPECT_EQ(g_heard.order, Lines{});
    Audio_SetLevelCallback([](float) { g_heard.order.emplace_back("other level"); });
    capture(tone(0.5F, 4));
    EXPECT_EQ(g_heard.order, Lines{"other level"});
}

TEST_F(AudioStreams, FailingLookForPacketsEndsThePassQuietly) {
    fake_audio::answer(Call::next_packet_size, k_audio_device_gone);
    capture(tone(0.5F, 4));
    EXPECT_EQ(g_heard.order, Lines{});
    EXPECT_EQ(fake_audio::count(Call::next_packet_size), 1);
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(AudioStreams, PacketThatCannotBeHadEndsThePassAndIsNotGivenBack) {
    fake_audio::answer(Call::capture_get_buffer, k_audio_fail);
    capture(tone(0.5F, 4));
    EXPECT_EQ(g_heard.order, Lines{});
    EXPECT_EQ(fake_audio::count(Call::capture_get_buffer), 1);
    EXPECT_EQ(fake_audio::count(Call::capture_release_buffer), 0);
}

TEST_F(AudioStreams, PacketThatCannotBeGivenBackEndsThePass) {
    fake_audio::answer(Call::capture_release_buffer, k_audio_fail);
    fake_audio::push_packet("mic", tone(0.5F, 4));
    capture(tone(0.5F, 4));
    EXPECT_EQ(g_heard.packets.size(), 1U);
    EXPECT_EQ(fake_audio::count(Call::next_packet_size), 1);
}

TEST_F(AudioStreams, AnnouncedPacketWithoutFramesEndsThePass) {
    fake_audio::push_packet("mic", {});
    capture({});
    EXPECT_EQ(g_heard.order, Lines{});
    EXPECT_EQ(fake_audio::count(Call::capture_get_buffer), 1);
    EXPECT_EQ(fake_audio::count(Call::capture_release_buffer), 1);
}

TEST_F(AudioStreams, StoppedCapturePassesNothingMoreOn) {
    fake_audio::push_packet("mic", tone(0.5F, 4));
    m_stop.set();
    capture(tone(0.5F, 4));
    EXPECT_EQ(g_heard.order, Lines{});
    EXPECT_EQ(fake_audio::count(Call::capture_get_buffer), 1);
    EXPECT_EQ(fake_audio::count(Call::capture_release_buffer), 1);
}

TEST_F(AudioStreams, RenderFillsWhatIsFreeAtTheVolumeAndClearsTheSlots) {
    for (std::size_t sample = 0; sample < 8; ++sample) {
        audio_engine::g_loopbackBuffer[sample] = 0.5F;
    }
    Audio_SetOutputVolume(0.5F);
    EXPECT_EQ(render(483), tone(0.25F, 3)); // 480 queued: three frames free
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 6);
    EXPECT_EQ(ring_at(5), 0.0F);
    EXPECT_EQ(ring_at(6), 0.5F);

    EXPECT_EQ(render(482), (Samples{0.25F, 0.25F, 0.0F, 0.0F}));
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 10);
}

TEST_F(AudioStreams, ReaderAheadOfTheWriterPlaysSilence) {
    EXPECT_EQ(render(960), tone(0.0F, 480));
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 960);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
}

TEST_F(AudioStreams, RenderWrapsAtTheRingsEnd) {
    audio_engine::g_loopbackReadPos = 23998;
    audio_engine::g_loopbackBuffer[23999] = 0.2F;
    audio_engine::g_loopbackBuffer[0] = 0.3F;
    EXPECT_EQ(render(482), (Samples{0.0F, 0.2F, 0.3F, 0.0F}));
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 2);
    EXPECT_EQ(ring_at(0), 0.0F);
    EXPECT_EQ(ring_at(23999), 0.0F);
}

TEST_F(AudioStreams, BufferLongerThanTheRingGoesAroundIt) {
    audio_engine::g_loopbackBuffer[1] = 0.5F;
    const Samples played = render(480 + 12001);
    ASSERT_EQ(played.size(), 24002U);
    EXPECT_EQ(played[1], 0.5F);
    EXPECT_EQ(played[24001], 0.0F); // the same slot, cleared by the first time around
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 2);
}

TEST_F(AudioStreams, FullDeviceBufferIsLeftAlone) {
    audio_engine::g_loopbackBuffer[0] = 0.5F;
    EXPECT_EQ(render(480), Samples{});
    EXPECT_EQ(render(479), Samples{}); // more queued than the buffer should hold
    EXPECT_EQ(fake_audio::count(Call::render_get_buffer), 0);
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 0);
    EXPECT_EQ(ring_at(0), 0.5F);
}

TEST_F(AudioStreams, FailingOutputCallsLeaveTheRingUntouched) {
    audio_engine::g_loopbackBuffer[0] = 0.5F;
    fake_audio::answer(Call::padding, k_audio_device_gone);
    EXPECT_EQ(render(960), Samples{});
    EXPECT_EQ(fake_audio::count(Call::render_get_buffer), 0);
    fake_audio::heal(Call::padding);

    fake_audio::answer(Call::render_get_buffer, k_audio_fail);
    EXPECT_EQ(render(960), Samples{});
    EXPECT_EQ(fake_audio::count(Call::render_release_buffer), 0);
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 0);
    EXPECT_EQ(ring_at(0), 0.5F);
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(AudioStreams, StoppedRenderLeavesTheRingToTheNextThread) {
    audio_engine::g_loopbackBuffer[0] = 0.5F;
    m_stop.set();
    EXPECT_EQ(render(960), tone(0.0F, 480));
    EXPECT_EQ(ring_at(0), 0.5F);
    EXPECT_EQ(audio_engine::g_loopbackReadPos, 0);
}

namespace {

/// A running engine whose output is full, so that the ring holds still.
class AudioPlay : public AudioEngine {
  protected:
    void SetUp() override {
        AudioEngine::SetUp();
        fake_audio::set_padding("speaker", 960);
        start();
    }
};

} // namespace

TEST_F(AudioPlay, SamplesLandInTheRing) {
    const Samples samples{0.1F, 0.2F, -0.3F, -0.4F};
    Audio_PlaySamples(samples.data(), 2);
    for (std::size_t sample = 0; sample < 4; ++sample) {
        EXPECT_EQ(ring_at(sample), samples[sample]);
    }
    EXPECT_EQ(ring_at(4), 0.0F);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 4);
}

TEST_F(AudioPlay, AllocatesNothing) {
    const Samples samples(960, 0.1F);
    const AllocationCounter allocations;
    for (int i = 0; i < 100; ++i) {
        Audio_PlaySamples(samples.data(), 480);
    }
    EXPECT_EQ(allocations.count(), 0);
}

TEST_F(AudioPlay, OverlapIsAddedAndClamped) {
    for (std::size_t sample = 0; sample < 6; ++sample) {
        audio_engine::g_loopbackBuffer[sample] = sample < 4 ? 0.8F : -0.8F;
    }
    const Samples samples{0.8F, 0.1F, -0.3F, -0.8F, -0.8F, 0.0F};
    Audio_PlaySamples(samples.data(), 3);
    EXPECT_EQ(ring_at(0), 1.0F);
    EXPECT_FLOAT_EQ(ring_at(1), 0.9F);
    EXPECT_FLOAT_EQ(ring_at(2), 0.5F);
    EXPECT_FLOAT_EQ(ring_at(3), 0.0F);
    EXPECT_EQ(ring_at(4), -1.0F);
    EXPECT_EQ(ring_at(5), -0.8F);
}

TEST_F(AudioPlay, WriterThatLapsTheReaderMixesIntoUnplayedAudio) {
    const Samples lap = tone(0.8F, 12000);
    Audio_PlaySamples(lap.data(), 12000);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
    Audio_PlaySamples(lap.data(), 1);
    EXPECT_EQ(ring_at(0), 1.0F);
    EXPECT_EQ(ring_at(1), 1.0F);
    EXPECT_EQ(ring_at(2), 0.8F);
}

TEST_F(AudioPlay, ListeningTestAndReceivedAudioTakeTurnsAtOneWritePosition) {
    Audio_SetLoopback(true);
    int captured = 0;
    const auto capture = [&captured](const Samples& packet) {
        fake_audio::push_packet("mic", packet);
        return fake_audio::wait_for_count(Call::capture_release_buffer, ++captured);
    };
    const auto play = [](const Samples& samples) {
        Audio_PlaySamples(samples.data(), static_cast<std::int32_t>(samples.size() / 2));
    };
    for (std::size_t sample = 0; sample < 8; ++sample) {
        audio_engine::g_loopbackBuffer[sample] = 0.5F;
    }
    ASSERT_TRUE(capture({0.125F, 0.25F}));
    play({0.25F, 0.75F});
    ASSERT_TRUE(capture({-0.125F, 1.5F}));
    play({-0.25F, -0.5F});
    play({0.5F, 0.625F});
    const Samples expected{0.125F,  0.25F, // copied over what was there
                           0.75F,   1.0F,  // added and clamped
                           -0.125F, 1.5F,  // copied, not clamped
                           0.25F,   0.0F,  //
                           0.5F,    0.625F, 0.0F, 0.0F};
    for (std::size_t sample = 0; sample < expected.size(); ++sample) {
        EXPECT_EQ(ring_at(sample), expected[sample]) << sample;
    }
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 10);

    // Once around: each meets what the other left.
    audio_engine::g_loopbackWritePos = 0;
    play({0.5F, 0.5F});
    ASSERT_TRUE(capture({0.0625F, 0.0625F}));
    EXPECT_EQ(ring_at(0), 0.625F);
    EXPECT_EQ(ring_at(1), 0.75F);
    EXPECT_EQ(ring_at(2), 0.0625F);
    EXPECT_EQ(ring_at(3), 0.0625F);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 4);
}

TEST_F(AudioPlay, WrapsAtTheRingsEnd) {
    audio_engine::g_loopbackWritePos = 23998;
    const Samples samples{0.1F, 0.2F, 0.3F, 0.4F};
    Audio_PlaySamples(samples.data(), 2);
    EXPECT_EQ(ring_at(23999), 0.2F);
    EXPECT_EQ(ring_at(0), 0.3F);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 2);
}

TEST_F(AudioPlay, IgnoresAbsentSamplesAndCountsBelowOne) {
    const Samples samples{0.1F, 0.2F};
    Audio_PlaySamples(nullptr, 1);
    Audio_PlaySamples(samples.data(), 0);
    Audio_PlaySamples(samples.data(), -1);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
    EXPECT_EQ(ring_at(0), 0.0F);
}

TEST_F(AudioPlay, DoesNothingWhileStopped) {
    Audio_Stop();
    const Samples samples{0.1F, 0.2F};
    Audio_PlaySamples(samples.data(), 1);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);
    EXPECT_EQ(ring_at(0), 0.0F);
}
