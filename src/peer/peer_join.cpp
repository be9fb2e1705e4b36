// See peer/peer_join.h.
#include "peer/peer_join.h"

#include "base/clock.h"

#include <atomic>

namespace {

constexpr std::uint32_t k_answer_ms = 5000;

std::atomic<JoinState> g_state{JoinState::outside};
std::atomic<bool> g_heard{false};
std::uint32_t g_asked_at_ms = 0; // main thread

bool answer_with(JoinState answer) {
    JoinState asked = JoinState::asked;
    return g_state.compare_exchange_strong(asked, answer);
}

} // namespace

void join_asked() {
    g_asked_at_ms = clock_ticks_ms();
    g_heard = false;
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
    g_heard.store(true, std::memory_order_relaxed);
}

JoinState join_state() {
    // Only now: what comes before may be the rest of the room that was left just before.
    if (clock_ticks_ms() - g_asked_at_ms >= k_answer_ms) {
        answer_with(g_heard ? JoinState::inside : JoinState::no_answer);
    }
    return g_state;
}
