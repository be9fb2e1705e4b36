// The audio seam when the sound server dies or hangs, or an endpoint goes, in the middle of a
// stream.
#include "contract/audio_support.h"

#include <algorithm>

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// A running microphone and a running voice on a fresh server.
class AudioLostServer : public AudioContract {
  protected:
    void SetUp() override {
        ASSERT_TRUE(control_sound_server("--stop"));
        ASSERT_TRUE(control_sound_server("--start"));
        AudioContract::SetUp();
        ASSERT_FALSE(HasFatalFailure());
        m_microphone = open_microphone(*m_enumerator, "Virtual microphone 1");
        m_voice = open_speaker(*m_enumerator, "Virtual voice 1");
        ASSERT_TRUE(m_microphone.service && m_voice.service);
        ASSERT_EQ(audio_client_start(*m_microphone.client), k_audio_ok);
        ASSERT_EQ(audio_client_start(*m_voice.client), k_audio_ok);
        const TonePlayer player(m_voice, 440.0, 1000.0, 0.5F);
        ASSERT_TRUE(hears_tone(m_microphone, 440.0, 1000.0, 0.5));
    }

    void TearDown() override {
        m_microphone = {};
        m_voice = {};
        AudioContract::TearDown();
    }

    /// What is left in the microphone may still be had; behind it there must be a failure.
    bool microphone_fails() {
        std::vector<float> samples;
        return eventually([&] {
            if (!audio_ok(drain_microphone(m_microphone, samples))) {
                return true;
            }
            // Wine still counts the packets of a dead stream, and then finds none.
            float* lent = nullptr;
            std::uint32_t frames = 0;
            const auto result = audio_capture_get_buffer(*m_microphone.service, lent, frames);
            if (audio_ok(result)) {
                audio_capture_release_buffer(*m_microphone.service, frames);
            }
            return !audio_ok(result);
        });
    }

    bool voice_fails() {
        return eventually([&] {
            std::uint32_t padding = 0;
            return !audio_ok(audio_client_padding(*m_voice.client, padding));
        });
    }

    Microphone m_microphone;
    Speaker m_voice;
};

} // namespace

TEST_F(AudioLostServer, StreamsFailAndNothingHangsWhenTheServerDies) {
    ASSERT_TRUE(control_sound_server("--stop"));
    const auto start = Clock::now();
    EXPECT_TRUE(microphone_fails());
    EXPECT_TRUE(voice_fails());

    std::uint32_t number = 12345;
    float* samples = nullptr;
    EXPECT_FALSE(audio_ok(audio_client_padding(*m_voice.client, number)));
    EXPECT_FALSE(audio_ok(audio_capture_get_buffer(*m_microphone.service, samples, number)));
    EXPECT_EQ(number, 12345U);
    EXPECT_EQ(samples, nullptr);
    EXPECT_FALSE(audio_ok(audio_render_get_buffer(*m_voice.service, 480, samples)));
    EXPECT_FALSE(audio_ok(audio_client_stop(*m_microphone.client)));
    EXPECT_FALSE(audio_ok(audio_client_stop(*m_voice.client)));

    // A buffer lent by a dead stream is given back without harm, and so are the handles.
    audio_render_release_buffer(*m_voice.service, 0);
    m_microphone = {};
    m_voice = {};
    EXPECT_LT(seconds_since(start), 5.0);
    ASSERT_TRUE(control_sound_server("--start"));
}

TEST_F(AudioLostServer, BufferLentWhenTheServerDiesIsGivenBackSafely) {
    float* samples = nullptr;
    ASSERT_TRUE(eventually([&] {
        std::uint32_t padding = 0;
        return audio_ok(audio_client_padding(*m_voice.client, padding)) &&
               m_voice.buffer_frames - padding >= 100;
    }));
    ASSERT_EQ(audio_render_get_buffer(*m_voice.service, 100, samples), k_audio_ok);
    float* heard = nullptr;
    std::uint32_t frames = 0;
    ASSERT_TRUE(eventually([&] {
        return audio_ok(audio_capture_get_buffer(*m_microphone.service, heard, frames)) &&
               frames > 0;
    }));
    ASSERT_TRUE(control_sound_server("--stop"));
    EXPECT_TRUE(voice_fails());
    std::fill_n(samples, 200, 0.5F);
    std::fill_n(heard, std::size_t{frames} * 2, 0.5F);
    audio_render_release_buffer(*m_voice.service, 100);
    audio_capture_release_buffer(*m_microphone.service, frames);
    EXPECT_TRUE(microphone_fails());
    ASSERT_TRUE(control_sound_server("--start"));
}

TEST_F(AudioLostServer, SameEnumeratorWorksWithTheNextServer) {
    const AudioPtr<AudioDevice> device =
        find_endpoint(*m_enumerator, AudioFlow::capture, "Virtual microphone 1");
    ASSERT_TRUE(device);
    ASSERT_TRUE(control_sound_server("--stop"));
    ASSERT_TRUE(microphone_fails());

    // Without a server no stream can be had, and that is told soon.
    const auto start = Clock::now();
    AudioPtr<AudioClient> client;
    if (audio_ok(audio_device_activate(*device, client))) {
        EXPECT_FALSE(audio_ok(audio_client_initialize(*client, k_stereo_48k, 20)));
    }
    EXPECT_LT(seconds_since(start), 3.5);

    ASSERT_TRUE(control_sound_server("--start"));
    EXPECT_EQ(audio_device_activate(*device, client), k_audio_ok); // the same endpoint again
    m_microphone = open_microphone(*m_enumerator, "Virtual microphone 1");
    m_voice = open_speaker(*m_enumerator, "Virtual voice 1");
    ASSERT_TRUE(m_microphone.service && m_voice.service);
    ASSERT_EQ(audio_client_start(*m_microphone.client), k_audio_ok);
    ASSERT_EQ(audio_client_start(*m_voice.client), k_audio_ok);
    const TonePlayer player(m_voice, 300.0, 700.0, 0.25F);
    EXPECT_TRUE(hears_tone(m_microphone, 300.0, 700.0, 0.25));
}

TEST_F(AudioLostServer, RealTimeCallsDoNotWaitForAHangingServer) {
    ASSERT_TRUE(control_sound_server("--pause"));
    double longest = 0.0;
    const auto timed = [&](auto call) {
        const auto start = Clock::now();
        call();
        longest = std::max(longest, seconds_since(start));
    };
    for (int pass = 0; pass < 50; ++pass) {
        std::uint32_t padding = 0;
        std::uint32_t frames = 0;
        float* samples = nullptr;
        timed([&] { audio_client_padding(*m_voice.client, padding); });
        const std::uint32_t room = m_voice.buffer_frames - padding;
        timed([&] {
            if (room > 0 && audio_ok(audio_render_get_buffer(*m_voice.service, room, samples))) {
                std::fill_n(samples, std::size_t{room} * 2, 0.0F);
                audio_render_release_buffer(*m_voice.service, room);
            }
        });
        timed([&] {
            if (audio_ok(audio_capture_get_buffer(*m_microphone.service, samples, frames))) {
                audio_capture_release_buffer(*m_microphone.service, frames);
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_TRUE(control_sound_server("--resume"));
    // A server's answer would take for ever; this leaves room for a busy machine.
    EXPECT_LT(longest, 0.5);
    const TonePlayer player(m_voice, 300.0, 700.0, 0.25F);
    EXPECT_TRUE(hears_tone(m_microphone, 300.0, 700.0, 0.25));
}

TEST_F(AudioLostServer, StreamFailsWhenItsMicrophoneGoes) {
    ASSERT_TRUE(run_on_host("pactl unload-module module-remap-source"));
    EXPECT_TRUE(microphone_fails());
    std::uint32_t padding = 0;
    EXPECT_EQ(audio_client_padding(*m_voice.client, padding), k_audio_ok);
}

TEST_F(AudioLostServer, StreamFailsWhenItsSpeakerGoes) {
    ASSERT_TRUE(run_on_host("pactl unload-module module-null-sink"));
    EXPECT_TRUE(voice_fails());
    float* samples = nullptr;
    EXPECT_FALSE(audio_ok(audio_render_get_buffer(*m_voice.service, 1, samples)));
}
