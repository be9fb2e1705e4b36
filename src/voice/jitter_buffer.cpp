// See voice/jitter_buffer.h.
#include "voice/jitter_buffer.h"

#include "base/clock.h"
#include "voice/voice_internal.h"

#include <algorithm>
#include <cstring>

std::atomic<std::uint32_t> g_jitterEstimateMs{0};
std::atomic<std::uint32_t> g_targetJitterDelayMs{k_initial_jitter_delay_ms};
std::atomic<std::int32_t> g_audioQueueCount{0};

namespace {

struct AudioSlot {
    std::uint32_t sender_timestamp;
    std::uint32_t arrival_tick;
    std::int32_t length;
    std::uint8_t data[k_audio_slot_bytes];
};

AudioSlot g_audioQueue[k_audio_queue_slots];
std::int32_t g_audioQueueHead = 0; // the oldest packet
std::int32_t g_audioQueueTail = 0; // the next free slot

// Times of the previous packet; 0: none yet.
std::uint32_t g_lastAudioTimestamp = 0;
std::uint32_t g_lastAudioArrivalTick = 0;

// The network thread alone writes the atomics, so a load and a store need not be one operation.
template <typename Value>
Value get(const std::atomic<Value>& atomic) {
    return atomic.load(std::memory_order_relaxed);
}

template <typename Value>
void set(std::atomic<Value>& atomic, Value value) {
    atomic.store(value, std::memory_order_relaxed);
}

std::int32_t next_slot(std::int32_t index) {
    return (index + 1) % k_audio_queue_slots;
}

void drop_oldest() {
    g_audioQueueHead = next_slot(g_audioQueueHead);
    set(g_audioQueueCount, get(g_audioQueueCount) - 1);
}

void clear_queue() {
    g_audioQueueHead = 0;
    g_audioQueueTail = 0;
    set(g_audioQueueCount, 0);
}

void update_jitter_estimate(std::uint32_t sender_timestamp, std::uint32_t arrival_tick) {
    const std::uint32_t arrival_gap = arrival_tick - g_lastAudioArrivalTick;
    // A sender's clock that stands behind its last value counts as standing still.
    const auto sender_gap = std::max(
        static_cast<std::int32_t>(sender_timestamp - g_lastAudioTimestamp), std::int32_t{0});
    const std::uint32_t difference = arrival_gap - static_cast<std::uint32_t>(sender_gap);
    const bool negative = static_cast<std::int32_t>(difference) < 0;
    const std::uint32_t deviation = negative ? 0u - difference : difference;
    set(g_jitterEstimateMs, (deviation + 15 * get(g_jitterEstimateMs)) >> 4);
}

} // namespace

void Network_QueueAudioPacket(const std::uint8_t* data, int length, std::uint32_t senderTimestamp,
                              std::uint32_t arrivalTick) {
    if (data == nullptr || length < 1) {
        return;
    }
    length = std::min(length, k_audio_slot_bytes);

    if (g_lastAudioArrivalTick != 0 && g_lastAudioTimestamp != 0) {
        update_jitter_estimate(senderTimestamp, arrivalTick);
    }
    g_lastAudioTimestamp = senderTimestamp;
    g_lastAudioArrivalTick = arrivalTick;
    Network_UpdateAdaptiveJitterTarget();

    if (get(g_audioQueueCount) >= k_audio_queue_slots) {
        drop_oldest();
    }
    AudioSlot& slot = g_audioQueue[g_audioQueueTail];
    slot.sender_timestamp = senderTimestamp;
    slot.arrival_tick = arrivalTick;
    slot.length = length;
    std::memcpy(slot.data, data, static_cast<std::size_t>(length));
    g_audioQueueTail = next_slot(g_audioQueueTail);
    set(g_audioQueueCount, get(g_audioQueueCount) + 1);

    while (get(g_audioQueueCount) > k_audio_queue_keep) {
        drop_oldest();
    }
}

void Network_DispatchBufferedAudio() {
    const NetworkAudioCallback on_audio = g_onAudio.load();
    if (on_audio == nullptr) {
        clear_queue();
        return;
    }
    const std::uint32_t now = clock_ticks_ms();
    const std::uint32_t target = get(g_targetJitterDelayMs);
    while (get(g_audioQueueCount) > 0) {
        const AudioSlot& slot = g_audioQueue[g_audioQueueHead];
        const std::uint32_t age = now - slot.arrival_tick;
        if (age < target) {
            return; // it and everything behind it wait
        }
        // Removed first: a callback that disconnects resets the queue. The slot's bytes stay as
        // they are, since only this thread queues.
        drop_oldest();
        if (age <= target + k_late_limit_ms) {
            on_audio(slot.data, slot.length);
        }
    }
}

void Network_UpdateAdaptiveJitterTarget() {
    const std::uint32_t raw =
        get(g_smoothedRttMs) / 4 + 2 * (get(g_jitterEstimateMs) + k_jitter_margin_ms);
    const std::uint32_t wanted = std::clamp(raw, k_min_jitter_delay_ms, k_max_jitter_delay_ms);
    set(g_targetJitterDelayMs, (wanted + 7 * get(g_targetJitterDelayMs)) >> 3);
}

void Network_ResetAdaptiveJitterState() {
    g_lastAudioTimestamp = 0;
    g_lastAudioArrivalTick = 0;
    clear_queue();
    g_heartbeatInFlight = false;
    g_lastHeartbeatSentTick = 0;
    set(g_smoothedRttMs, k_initial_smoothed_rtt_ms);
    set(g_jitterEstimateMs, 0u);
    set(g_targetJitterDelayMs, k_initial_jitter_delay_ms);
}
