// See peer/peer_recorder.h.
#include "peer/peer_recorder.h"

#include "audio/sound_format.h"
#include "peer/wav_file.h"
#include "platform/file.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <string>

namespace {

// 2.7 seconds of stereo at 48 kHz: far more than passes between two turns of the main loop.
constexpr std::size_t k_ring_samples = 262144;
static_assert((k_ring_samples & (k_ring_samples - 1)) == 0, "positions run on and are masked");

std::array<std::int16_t, k_ring_samples> g_ring;
std::atomic<std::size_t> g_pushed{0};  // samples ever put in, by the network thread
std::atomic<std::size_t> g_drained{0}; // samples ever taken out, by the main thread
std::atomic<bool> g_recording{false};
std::atomic<bool> g_overrun{false};
// The main thread's own.
WavWriter g_writer;
std::string g_path; ///< empty without a file

bool start_file() {
    return g_writer.open(g_path.c_str(), k_sound_rate, k_sound_channels) &&
           g_writer.update_header();
}

// Whether the file can be written, and has anything in it to be spared. Creates a missing one.
enum class Target { not_writable, empty, holds_something };

Target look_at_target(const char* path) {
    std::FILE* const file = file_open(path, "ab");
    if (file == nullptr) {
        return Target::not_writable;
    }
    const bool holds_something = std::fseek(file, 0, SEEK_END) == 0 && std::ftell(file) > 0;
    std::fclose(file);
    return holds_something ? Target::holds_something : Target::empty;
}

std::int16_t to_16_bit(float sample) {
    return static_cast<std::int16_t>(
        std::lrint(std::clamp(sample * 32767.0F, -32768.0F, 32767.0F)));
}

} // namespace

bool open_peer_recorder(const char* path) {
    g_pushed.store(0);
    g_drained.store(0);
    g_overrun.store(false);
    g_path.clear();
    const Target target = look_at_target(path);
    if (target == Target::not_writable) {
        return false;
    }
    g_path = path;
    // Whole from its first moment on: the program may be ended while it still connects.
    g_recording.store(target == Target::holds_something || start_file());
    return g_recording.load();
}

bool begin_peer_recorder() {
    if (!g_recording.load() || g_writer.is_open()) {
        return true;
    }
    g_recording.store(start_file());
    return g_recording.load();
}

void push_to_peer_recorder(std::span<const float> samples) {
    if (!g_recording.load(std::memory_order_relaxed)) {
        return;
    }
    const std::size_t pushed = g_pushed.load(std::memory_order_relaxed);
    const std::size_t drained = g_drained.load(std::memory_order_acquire);
    if (samples.size() > k_ring_samples - (pushed - drained)) {
        g_overrun.store(true, std::memory_order_relaxed);
        return;
    }
    for (std::size_t i = 0; i < samples.size(); ++i) {
        g_ring[(pushed + i) % k_ring_samples] = to_16_bit(samples[i]);
    }
    g_pushed.store(pushed + samples.size(), std::memory_order_release);
}

bool drain_peer_recorder() {
    std::size_t drained = g_drained.load(std::memory_order_relaxed);
    const std::size_t pushed = g_pushed.load(std::memory_order_acquire);
    bool written = drained == pushed || begin_peer_recorder();
    while (drained != pushed) {
        const std::size_t at = drained % k_ring_samples;
        const std::size_t count = std::min(pushed - drained, k_ring_samples - at);
        written = g_writer.write(std::span(g_ring).subspan(at, count)) && written;
        drained += count;
    }
    g_drained.store(drained, std::memory_order_release);
    return written && (!g_writer.is_open() || g_writer.update_header());
}

bool close_peer_recorder() {
    const bool drained = drain_peer_recorder();
    g_recording.store(false);
    const bool closed = g_writer.close();
    return drained && closed && !g_overrun.load();
}
