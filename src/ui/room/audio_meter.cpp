// The meter of the input level, and the decision whether the local user speaks. Called by the
// shell's timer.
#include "base/text.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/room/room_internal.h"
#include "voice/voice_connection.h"

#include <algorithm>

namespace {

// A level that is no number counts as none.
double shown_level(float level) {
    return level > 0.0F ? std::min(static_cast<double>(level), 1.0) : 0.0;
}

} // namespace

GtkWidget* g_audio_meter = nullptr;
std::atomic<float> g_audio_level{0.0F};
float g_speaking_threshold = 0.05F;
bool g_is_speaking = false;
bool g_was_speaking = false;

void GUI_UpdateAudioLevel(float level) {
    g_audio_level.store(level, std::memory_order_relaxed);
}

gboolean update_audio_meter(gpointer) {
    const float level = g_audio_level.load(std::memory_order_relaxed);
    if (g_audio_meter != nullptr) {
        gtk_level_bar_set_value(GTK_LEVEL_BAR(g_audio_meter), shown_level(level));
    }
    g_is_speaking = !g_is_muted && level > g_speaking_threshold;
    if (g_is_speaking == g_was_speaking) {
        return G_SOURCE_CONTINUE;
    }
    g_was_speaking = g_is_speaking;
    if (g_local_speaking_indicator != nullptr) {
        show_speaking(g_local_speaking_indicator, g_is_speaking);
    }
    if (g_is_connected) {
        Network_SendSpeakingState(g_is_speaking);
    }
    if (!is_empty(g_hub_presence_room_id)) {
        resync_hub_room_presence();
    }
    return G_SOURCE_CONTINUE;
}
