// The audio seam with an endpoint's own format, on cards that are not stereo at 48 kHz.
#include "contract/audio_support.h"

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
        EXPECT_EQ(audio_client_capture_service(*microphone.client, microphone.service), k_audio_ok);
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

TEST_F(AudioMixFormat, FixedFormatWorksOnTheSameCard) {
    Microphone microphone = open_microphone(*m_enumerator, "Virtual microphone 1");
    Speaker voice = open_speaker(*m_enumerator, "Virtual voice 1");
    ASSERT_TRUE(microphone.service && voice.service);
    ASSERT_EQ(audio_client_start(*microphone.client), k_audio_ok);
    ASSERT_EQ(audio_client_start(*voice.client), k_audio_ok);
    const TonePlayer player(voice, 440.0, 440.0, 0.5F);
    EXPECT_TRUE(hears_tone(microphone, 440.0, 440.0, 0.5));
}
