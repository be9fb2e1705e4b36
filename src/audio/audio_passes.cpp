// One pass of the capture thread and one of the render thread: what happens to every packet. Called
// by the device engine's workers; allocates nothing, takes no lock that another thread holds long.
#include "audio/audio_engine_internal.h"

#include <algorithm>
#include <cstddef>

namespace audio_engine {

namespace {

/// Silences or amplifies one packet in place and hands it to whoever listens. Every setting is read
/// once, so that one packet is treated as a whole.
void deliver_packet(float* samples, std::uint32_t frames) {
    const std::size_t count = std::size_t{frames} * 2;
    const bool muted = g_isMuted.load(std::memory_order_relaxed);
    if (muted) {
        std::fill_n(samples, count, 0.0F);
    } else {
        const float gain = g_inputGain.load(std::memory_order_relaxed);
        std::for_each_n(samples, count, [gain](float& sample) { sample *= gain; });
    }
    if (const auto on_level = g_levelCallback.load(std::memory_order_relaxed)) {
        on_level(CalculateRMS(samples, static_cast<std::int32_t>(count)));
    }
    if (muted) {
        return;
    }
    if (const auto on_input = g_inputCallback.load(std::memory_order_relaxed)) {
        on_input(samples, static_cast<std::int32_t>(frames));
    }
    if (g_loopbackEnabled.load(std::memory_order_relaxed)) {
        ring_overwrite(samples, count);
    }
}

} // namespace

void capture_pass(AudioCaptureService& service, const StopEvent& stop) {
    std::uint32_t waiting = 0;
    while (audio_ok(audio_capture_next_packet_size(service, waiting)) && waiting != 0) {
        float* samples = nullptr;
        std::uint32_t frames = 0;
        if (!audio_ok(audio_capture_get_buffer(service, samples, frames))) {
            return;
        }
        // A thread that hung in a device call may wake beside its successor, when the callbacks and
        // the ring are no longer its own. An empty packet would repeat for ever.
        const bool ends = stop.is_set() || frames == 0;
        if (!ends) {
            deliver_packet(samples, frames);
        }
        if (!audio_ok(audio_capture_release_buffer(service, frames)) || ends) {
            return;
        }
    }
}

void render_pass(AudioClient& client, AudioRenderService& service, std::uint32_t buffer_frames,
                 const StopEvent& stop) {
    std::uint32_t padding = 0;
    if (!audio_ok(audio_client_padding(client, padding)) || padding >= buffer_frames) {
        return;
    }
    const std::uint32_t available = buffer_frames - padding;
    float* output = nullptr;
    if (!audio_ok(audio_render_get_buffer(service, available, output))) {
        return;
    }
    const std::size_t count = std::size_t{available} * 2;
    // As in the capture pass: what is in the ring by then belongs to the successor.
    if (stop.is_set()) {
        std::fill_n(output, count, 0.0F);
    } else {
        ring_consume(output, count, g_outputVolume.load(std::memory_order_relaxed));
    }
    audio_render_release_buffer(service, available);
}

} // namespace audio_engine
