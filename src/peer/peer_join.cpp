// See peer/peer_join.h.
#include "peer/peer_join.h"

#include "base/clock.h"

#include <atomic>

namespace {

constexpr std::uint32_t k_answer_ms = 5000;
constexpr std::int32_t k_old_audio_ms = 1000; // what the room left just before may still send

std::atomic<JoinState> g_state{JoinState::outside};
std::atomic<std::uint32_t> g_audio_at_ms{0}; // the latest, or when it was asked
std::uint32_t g_asked_at_ms = 0;             // main thread

bool answer_with(JoinState answer) {
    JoinState asked = JoinState::asked;
    return g_state.compare_exchange_strong(asked, answer);
}

} // namespace

void join_asked() {
    g_asked_at_ms = clock_ticks_ms();
    g_audio_at_ms = g_asked_at_ms;
    g_state = JoinState::asked;
}

void join_left() {
    g_state = JoinState::outside;
}

bool join_note_room_message() {
    return answer_with(JoinState::inside);
}

void join_note_error() {
    answer_with(JoinState::refused);
}

void join_note_audio() {
    g_audio_at_ms.store(clock_ticks_ms(), std::memory_order_relaxed);
}

JoinState join_update() {
    if (clock_ticks_ms() - g_asked_at_ms >= k_answer_ms) {
        // Signed: audio that comes in the moment of asking may be noted as from before it.
        const auto audio_after_ms = static_cast<std::int32_t>(
            g_audio_at_ms.load(std::memory_order_relaxed) - g_asked_at_ms);
        answer_with(audio_after_ms >= k_old_audio_ms ? JoinState::inside : JoinState::no_answer);
    }
    return g_state;
}
