// See audio/audio_ring.h.
#include "audio/audio_ring.h"

#include <algorithm>

namespace audio_engine {

std::array<std::atomic<float>, k_ring_samples> g_loopbackBuffer{};
std::atomic<std::int32_t> g_loopbackWritePos{0};
std::atomic<std::int32_t> g_loopbackReadPos{0};

static_assert(std::atomic<float>::is_always_lock_free);

namespace {

/// Calls `touch` with each of the `count` slots from `position` on, around the ring, and publishes
/// the position behind the last one.
template <typename Touch>
void advance(std::atomic<std::int32_t>& position, std::size_t count, Touch touch) {
    auto slot = static_cast<std::size_t>(position.load(std::memory_order_acquire));
    for (std::size_t sample = 0; sample < count; ++sample) {
        touch(g_loopbackBuffer[slot], sample);
        ++slot;
        if (slot == k_ring_samples) {
            slot = 0;
        }
    }
    position.store(static_cast<std::int32_t>(slot), std::memory_order_release);
}

} // namespace

void ring_overwrite(const float* samples, std::size_t count) {
    advance(g_loopbackWritePos, count, [samples](std::atomic<float>& slot, std::size_t sample) {
        slot.store(samples[sample], std::memory_order_relaxed);
    });
}

void ring_add(const float* samples, std::size_t count) {
    advance(g_loopbackWritePos, count, [samples](std::atomic<float>& slot, std::size_t sample) {
        const float sum = slot.load(std::memory_order_relaxed) + samples[sample];
        slot.store(std::clamp(sum, -1.0F, 1.0F), std::memory_order_relaxed);
    });
}

void ring_consume(float* output, std::size_t count, float volume) {
    advance(g_loopbackReadPos, count,
            [output, volume](std::atomic<float>& slot, std::size_t sample) {
                output[sample] = volume * slot.load(std::memory_order_relaxed);
                slot.store(0.0F, std::memory_order_relaxed);
            });
}

std::int32_t ring_lag() {
    const std::int32_t write = g_loopbackWritePos.load(std::memory_order_acquire);
    const std::int32_t read = g_loopbackReadPos.load(std::memory_order_acquire);
    return (write - read + k_ring_samples) % k_ring_samples;
}

} // namespace audio_engine
