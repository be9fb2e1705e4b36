// See core/app_state.h.
#include "core/app_state.h"

#include "audio/sound_format.h"
#include "base/text.h"
#include "core/core_internal.h"

#include <mutex>

AppState g_appState;
std::mutex g_roster_mutex;

void app_state_set_defaults() {
    g_appState.inputGain.store(1.0F, std::memory_order_relaxed);
    g_appState.outputVolume.store(1.0F, std::memory_order_relaxed);
    g_appState.bitrate.store(k_sound_bitrate, std::memory_order_relaxed);
    copy_text(g_appState.serverUrl, "ws://127.0.0.1:3602/ws");
}

void app_state_set_username(const char* username) {
    const std::lock_guard lock(g_roster_mutex);
    copy_text(g_appState.username, or_empty(username));
}
