// Packets longer than 10 ms on their whole way from the device through the engine and the voice
// session to the network, which is a fake.
#include "core/app_state.h"
#include "core/voice_session.h"
#include "unit/audio/audio_engine_fixture.h"
#include "unit/core/fake_journal.h"
#include "unit/core/fake_voice.h"

#include <algorithm>

using namespace engine_test;
using fake_audio::Call;

namespace {

/// Every sample has a value of its own.
Samples distinct(std::size_t frames) {
    Samples samples(frames * 2);
    for (std::size_t sample = 0; sample < samples.size(); ++sample) {
        samples[sample] = static_cast<float>(sample) / 32768.0F;
    }
    return samples;
}

class AudioLongPackets : public AudioEngine, public ::testing::WithParamInterface<std::size_t> {
  protected:
    void SetUp() override {
        AudioEngine::SetUp();
        g_fake_voice = {};
        g_appState.connectionState = ConnectionState::in_room;
        Audio_SetInputCallback(OnAudioInput);
        journal_reset();
    }

    void TearDown() override {
        AudioEngine::TearDown();
        g_appState.connectionState = ConnectionState::disconnected;
    }
};

} // namespace

TEST_P(AudioLongPackets, TheFirst480FramesAreSentAndTheListeningTestHearsAll) {
    const std::size_t frames = GetParam();
    const Samples packet = distinct(frames);
    fake_audio::set_padding("speaker", 960); // full: the ring holds still
    fake_audio::push_packet("mic", packet);
    Audio_SetLoopback(true);
    start();
    ASSERT_TRUE(fake_audio::wait_for_count(Call::capture_release_buffer, 1));
    Audio_Stop();

    EXPECT_EQ(journal_lines(),
              (Lines{"OpusCodec_Encode(480, 65536)", "Network_SendAudio(1920: 5a)"}));
    EXPECT_EQ(g_fake_voice.encoded, Samples(packet.begin(), packet.begin() + 960));
    EXPECT_EQ(audio_engine::g_loopbackWritePos, static_cast<std::int32_t>(packet.size()));
    EXPECT_TRUE(std::equal(packet.begin(), packet.end(), audio_engine::g_loopbackBuffer.begin(),
                           [](float sample, const auto& slot) { return slot.load() == sample; }));
}

TEST_P(AudioLongPackets, EachOfSeveralIsSentOnItsOwn) {
    for (int packet = 0; packet < 3; ++packet) {
        fake_audio::push_packet("mic", distinct(GetParam()));
    }
    start();
    ASSERT_TRUE(fake_audio::wait_for_count(Call::capture_release_buffer, 3));
    Audio_Stop();
    EXPECT_EQ(journal_lines("Network_SendAudio"), Lines(3, "Network_SendAudio(1920: 5a)"));
}

INSTANTIATE_TEST_SUITE_P(Frames, AudioLongPackets,
                         ::testing::Values(std::size_t{960}, std::size_t{4800}),
                         ::testing::PrintToStringParamName());
