// See audio_support.h.
#include "contract/audio_support.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

std::int32_t sound_cards() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing sets it
    const char* cards = std::getenv("VELMO_SOUND_CARDS");
    return cards != nullptr ? std::atoi(cards) : 0;
}

bool control_sound_server(const std::string& verb) {
    return run_on_host("$VELMO_WITH_SOUND " + verb);
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void AudioContract::SetUp() {
    ASSERT_TRUE(audio_ok(audio_system_init()));
    ASSERT_EQ(audio_enumerator_create(m_enumerator), k_audio_ok);
    ASSERT_NE(m_enumerator, nullptr);
}

void AudioContract::TearDown() {
    m_enumerator.reset();
    audio_system_uninit();
}

std::int32_t count_endpoints(AudioEnumerator& enumerator, AudioFlow flow) {
    std::int32_t count = -1;
    EXPECT_EQ(audio_active_count(enumerator, flow, count), k_audio_ok);
    return count;
}

std::string id_of(AudioDevice& device) {
    std::string id;
    EXPECT_EQ(audio_device_id(device, id), k_audio_ok);
    return id;
}

std::string name_of(AudioDevice& device) {
    std::string name;
    EXPECT_EQ(audio_device_friendly_name(device, name), k_audio_ok);
    return name;
}

AudioPtr<AudioDevice> find_endpoint(AudioEnumerator& enumerator, AudioFlow flow,
                                    const std::string& name) {
    const std::int32_t count = count_endpoints(enumerator, flow);
    for (std::int32_t index = 0; index < count; ++index) {
        AudioPtr<AudioDevice> device;
        EXPECT_EQ(audio_active_device(enumerator, flow, index, device), k_audio_ok);
        if (device && name_of(*device) == name) {
            return device;
        }
    }
    return nullptr;
}

void take_capture_service(Microphone& microphone) {
    EXPECT_EQ(audio_client_capture_service(*microphone.client, microphone.service), k_audio_ok);
    EXPECT_EQ(audio_client_buffer_size(*microphone.client, microphone.buffer_frames), k_audio_ok);
}

Microphone open_microphone(AudioEnumerator& enumerator, const std::string& name) {
    Microphone microphone;
    const AudioPtr<AudioDevice> device = find_endpoint(enumerator, AudioFlow::capture, name);
    if (!device) {
        ADD_FAILURE() << "no microphone " << name;
        return {};
    }
    EXPECT_EQ(audio_device_activate(*device, microphone.client), k_audio_ok);
    if (microphone.client) {
        EXPECT_EQ(audio_client_initialize(*microphone.client, k_stereo_48k, 20), k_audio_ok);
        take_capture_service(microphone);
    }
    return microphone;
}

Speaker open_speaker(AudioEnumerator& enumerator, const std::string& name) {
    Speaker speaker;
    const AudioPtr<AudioDevice> device = find_endpoint(enumerator, AudioFlow::render, name);
    if (!device) {
        ADD_FAILURE() << "no speaker " << name;
        return {};
    }
    EXPECT_EQ(audio_device_activate(*device, speaker.client), k_audio_ok);
    if (speaker.client) {
        EXPECT_EQ(audio_client_initialize(*speaker.client, k_stereo_48k, 20), k_audio_ok);
        EXPECT_EQ(audio_client_render_service(*speaker.client, speaker.service), k_audio_ok);
        EXPECT_EQ(audio_client_buffer_size(*speaker.client, speaker.buffer_frames), k_audio_ok);
    }
    return speaker;
}

TonePlayer::TonePlayer(Speaker& speaker, double left_hz, double right_hz, float amplitude)
    : m_speaker(speaker), m_thread([=, this] { run(left_hz, right_hz, amplitude); }) {}

TonePlayer::~TonePlayer() {
    m_is_ended = true;
    m_thread.join();
}

void TonePlayer::run(double left_hz, double right_hz, float amplitude) {
    constexpr double turn = 2.0 * std::numbers::pi / 48000.0;
    std::uint64_t time = 0;
    while (!m_is_ended) {
        std::uint32_t padding = 0;
        float* samples = nullptr;
        if (!audio_ok(audio_client_padding(*m_speaker.client, padding))) {
            return;
        }
        const std::uint32_t room = m_speaker.buffer_frames - padding;
        if (room > 0 && audio_ok(audio_render_get_buffer(*m_speaker.service, room, samples))) {
            for (std::size_t frame = 0; frame < room; ++frame, ++time) {
                const double at = static_cast<double>(time) * turn;
                samples[2 * frame] = amplitude * static_cast<float>(std::sin(at * left_hz));
                samples[2 * frame + 1] = amplitude * static_cast<float>(std::sin(at * right_hz));
            }
            audio_render_release_buffer(*m_speaker.service, room);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

AudioResult drain_microphone(Microphone& microphone, std::vector<float>& samples) {
    for (;;) {
        std::uint32_t next = 0;
        AudioResult result = audio_capture_next_packet_size(*microphone.service, next);
        if (!audio_ok(result) || next == 0) {
            return result;
        }
        EXPECT_LE(next, microphone.buffer_frames);
        float* packet = nullptr;
        std::uint32_t frames = 0;
        result = audio_capture_get_buffer(*microphone.service, packet, frames);
        if (!audio_ok(result)) {
            return result;
        }
        EXPECT_EQ(frames, next);
        samples.insert(samples.end(), packet, packet + std::size_t{frames} * 2);
        result = audio_capture_release_buffer(*microphone.service, frames);
        if (!audio_ok(result)) {
            return result;
        }
    }
}

double sine_amplitude(std::span<const float> stereo, std::size_t channel, double hz, double rate) {
    const std::size_t frames = stereo.size() / 2;
    double sine = 0.0;
    double cosine = 0.0;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double angle = 2.0 * std::numbers::pi * hz * static_cast<double>(frame) / rate;
        sine += stereo[2 * frame + channel] * std::sin(angle);
        cosine += stereo[2 * frame + channel] * std::cos(angle);
    }
    return 2.0 * std::hypot(sine, cosine) / static_cast<double>(frames);
}

double channel_level(std::span<const float> stereo, std::size_t channel) {
    const std::size_t frames = stereo.size() / 2;
    double sum = 0.0;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        sum += stereo[2 * frame + channel] * stereo[2 * frame + channel];
    }
    return std::sqrt(sum / static_cast<double>(frames));
}

testing::AssertionResult hears_tone(Microphone& microphone, double left_hz, double right_hz,
                                    double amplitude, double rate) {
    const auto window = static_cast<std::size_t>(rate / 10.0) * 2;
    std::vector<float> samples;
    std::string last = "no sound at all";
    const bool heard = eventually(
        [&] {
            if (!audio_ok(drain_microphone(microphone, samples))) {
                last = "the microphone failed";
                return true;
            }
            while (samples.size() >= window) {
                const std::span<const float> part(samples.data(), window);
                const double left = sine_amplitude(part, 0, left_hz, rate);
                const double right = sine_amplitude(part, 1, right_hz, rate);
                // The level tells that there is nothing else.
                const double level = std::hypot(channel_level(part, 0), channel_level(part, 1));
                const auto is_near = [](double value, double wanted) {
                    return std::abs(value - wanted) < 0.03 * wanted;
                };
                if (is_near(left, amplitude) && is_near(right, amplitude) &&
                    is_near(level, amplitude)) {
                    last.clear();
                    return true;
                }
                last = "left " + std::to_string(left) + ", right " + std::to_string(right) +
                       ", level " + std::to_string(level);
                samples.erase(samples.begin(),
                              samples.begin() + static_cast<std::ptrdiff_t>(window));
            }
            return false;
        },
        std::chrono::seconds(20));
    if (heard && last.empty()) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "heard last: " << last;
}
