// See peer/peer_source.h.
#include "peer/peer_source.h"

#include "audio/audio_level.h"
#include "audio/sound_format.h"
#include "base/clock.h"
#include "base/worker.h"
#include "core/app_state.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

namespace {

constexpr double k_tone_amplitude = 0.25;
constexpr std::uint32_t k_block_ms = 10;
constexpr std::uint32_t k_behind_max_ms = 500; // further behind, what was missed is let go
constexpr std::uint32_t k_stop_wait_ms = 2000;

Worker g_worker;

// One side of a sound at a position between two of its frames.
double interpolate(const WavSound& sound, double position, std::size_t channel) {
    const std::size_t frames = sound.frame_count();
    const auto first = static_cast<std::size_t>(position);
    if (first >= frames) {
        return 0.0;
    }
    const std::size_t second = std::min(first + 1, frames - 1);
    const double fraction = position - static_cast<double>(first);
    const double a = static_cast<double>(sound.samples[first * sound.channels + channel]);
    const double b = static_cast<double>(sound.samples[second * sound.channels + channel]);
    return a + (b - a) * fraction;
}

void feed(const StopEvent& stop, SourceSignal& signal, AudioInputCallback input,
          AudioLevelCallback level) {
    std::array<float, k_source_block_frames * 2> block;
    std::uint32_t due = clock_ticks_ms();
    for (;;) {
        const auto until_due = static_cast<std::int32_t>(due - clock_ticks_ms());
        if (stop.wait_ms(static_cast<std::uint32_t>(std::max(until_due, 0)))) {
            return;
        }
        if (until_due < -static_cast<std::int32_t>(k_behind_max_ms)) {
            due = clock_ticks_ms();
        }
        due += k_block_ms;

        fill_source_block(signal, block);
        if (g_appState.muted.load(std::memory_order_relaxed)) {
            level(0.0F);
        } else {
            // As the audio engine measures its packets, so that a source and a microphone that
            // sound alike count alike as speaking.
            level(
                audio_engine::CalculateRMS(block.data(), static_cast<std::int32_t>(block.size())));
            input(block.data(), static_cast<std::int32_t>(k_source_block_frames));
        }
    }
}

} // namespace

void fill_source_block(SourceSignal& signal, std::span<float> block) {
    const bool is_tone = signal.tone_hz > 0.0;
    const double step = (is_tone ? signal.tone_hz : static_cast<double>(signal.sound.sample_rate)) /
                        static_cast<double>(k_sound_rate);
    for (std::size_t i = 0; i + 1 < block.size(); i += 2) {
        if (is_tone) {
            const double turn = 2.0 * std::numbers::pi * signal.position;
            block[i] = static_cast<float>(k_tone_amplitude * std::sin(turn));
            block[i + 1] = block[i];
            signal.position += step;
            signal.position -= std::floor(signal.position);
        } else {
            block[i] = static_cast<float>(interpolate(signal.sound, signal.position, 0));
            block[i + 1] = signal.sound.channels > 1
                               ? static_cast<float>(interpolate(signal.sound, signal.position, 1))
                               : block[i];
            signal.position += step;
        }
    }
}

bool source_signal_ended(const SourceSignal& signal) {
    return signal.tone_hz <= 0.0 &&
           signal.position >= static_cast<double>(signal.sound.frame_count());
}

bool start_peer_source(SourceSignal signal, AudioInputCallback input, AudioLevelCallback level) {
    return g_worker.start([source = std::move(signal), input, level](
                              const StopEvent& stop) mutable { feed(stop, source, input, level); });
}

void stop_peer_source() {
    g_worker.request_stop();
    g_worker.wait_and_release(k_stop_wait_ms);
}
