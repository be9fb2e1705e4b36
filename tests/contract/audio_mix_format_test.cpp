// The audio seam with an endpoint's own format, on cards that are not stereo at 48 kHz.
#include "contract/audio_support.h"

#include <algorithm>
#include <cstdlib>

namespace {

using AudioMixFormat = AudioContract;

/// The rate of the fixture's cards.
double card_rate() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing sets it
    const char* rate = std::getenv("VELMO_SOUND_RATE");
    return rate != nullptr ? std::atof(rate) : 48000.0;
}

Microphone open_with_mix_format(AudioEnumerator& enumerator) {
    Microphone microphone;
    const AudioPtr<AudioDevice> device =
        find_endpoint(enumerator, AudioFlow::capture, "Virtual microphone 1");
    if (device) {
        EXPECT_EQ(audio_device_activate(*device, microphone.client), k_audio_ok);
        EXPECT_EQ(audio_client_initialize_mix_format(*microphone.client, 20), k_audio_ok);
        take_capture_service(microphone);
    }
    return microphone;
}

} // namespace

TEST_F(AudioMixFormat, IsHandedOutAsStereo) {
    Microphone microphone = open_with_mix_format(*m_enumerator);
    Speaker voice = open_speaker(*m_enumerator, "Virtual voice 1");
    ASSERT_TRUE(microphone.service && voice.service);
    ASSERT_EQ(audio_client_start(*microphone.client), k_audio_ok);
    ASSERT_EQ(audio_client_start(*voice.client), k_audio_ok);
    // The same on both sides, so that a mono card changes nothing.
    const TonePlayer player(voice, 440.0, 440.0, 0.5F);
    EXPECT_TRUE(hears_tone(microphone, 440.0, 440.0, 0.5, card_rate()));
}

// At 96 kHz that is more than the conversation sends of a packet: it arrives whole all the same.
TEST_F(AudioMixFormat, PacketsKeepTheDevicesOwnPeriod) {
    Microphone microphone = open_with_mix_format(*m_enumerator);
    ASSERT_TRUE(microphone.service);
    ASSERT_EQ(audio_client_start(*microphone.client), k_audio_ok);
    const auto period = static_cast<std::uint32_t>(card_rate() / 100.0);
    for (int packet = 0; packet < 20; ++packet) {
        std::uint32_t next = 0;
        ASSERT_TRUE(eventually([&] {
            return audio_ok(audio_capture_next_packet_size(*microphone.service, next)) && next > 0;
        }));
        EXPECT_EQ(next, period);
        float* samples = nullptr;
        std::uint32_t frames = 0;
        ASSERT_EQ(audio_capture_get_buffer(*microphone.service, samples, frames), k_audio_ok);
        EXPECT_EQ(frames, next);
        // All of it is there to be read and changed.
        std::fill_n(samples, std::size_t{frames} * 2, 0.5F);
        ASSERT_EQ(audio_capture_release_buffer(*microphone.service, frames), k_audio_ok);
    }
}

TEST_F(AudioMixFormat, FixedFormatWorksOnTheSameCard) {
    Microphone microphone = open_microphone(*m_enumerator, "Virtual microphone 1");
    Speaker voice = open_speaker(*m_enumerator, "Virtual voice 1");
    ASSERT_TRUE(microphone.service && voice.service);
    ASSERT_EQ(audio_client_start(*microphone.client), k_audio_ok);
    ASSERT_EQ(audio_client_start(*voice.client), k_audio_ok);
    const TonePlayer player(voice, 440.0, 440.0, 0.5F);
    EXPECT_TRUE(hears_tone(microphone, 440.0, 440.0, 0.5));
}
