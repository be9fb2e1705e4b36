// The drop-downs of microphones and loudspeakers. Called by the settings tab.
#include "audio/audio_devices.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/localisation.h"
#include "ui/settings/settings_internal.h"

#include <string>

namespace {

/// Microphones or loudspeakers.
struct Direction {
    GtkWidget*& combo;
    std::int32_t& count;
    GCallback selected;
    const char* none_key;
    std::int32_t (*device_count)();
    std::int32_t (*device_info)(std::int32_t index, AudioDeviceInfo* info);
    std::int32_t (*default_device)();
    void (*set_device)(std::int32_t index);
};

const Direction k_input{
    g_input_device_combo,        g_input_device_count,      G_CALLBACK(on_input_device_selected),
    "dropdown_no_input",         Audio_GetInputDeviceCount, Audio_GetInputDeviceInfo,
    Audio_GetDefaultInputDevice, Audio_SetInputDevice};
const Direction k_output{
    g_output_device_combo,        g_output_device_count,      G_CALLBACK(on_output_device_selected),
    "dropdown_no_output",         Audio_GetOutputDeviceCount, Audio_GetOutputDeviceInfo,
    Audio_GetDefaultOutputDevice, Audio_SetOutputDevice};

void append(GtkStringList* names, const char* name) {
    gtk_string_list_append(names, display_text(name).c_str());
}

// A device that cannot tell its name is left out: later positions then stand for the device before
// theirs.
void append_devices(GtkStringList* names, const Direction& direction, std::int32_t default_index) {
    for (std::int32_t i = 0; i < direction.count; ++i) {
        AudioDeviceInfo info{};
        if (direction.device_info(i, &info) == 0) {
            continue;
        }
        char name[320];
        format_text(name, "%s%s", info.name,
                    i == default_index ? tr("dropdown_default_suffix") : "");
        append(names, name);
    }
}

void refresh(const Direction& direction) {
    direction.count = direction.device_count();
    std::int32_t default_index = direction.default_device();
    const GObjectPtr<GtkStringList> names(gtk_string_list_new(nullptr));
    if (direction.count > 0) {
        append_devices(names.get(), direction, default_index);
    } else {
        append(names.get(), tr(direction.none_key));
    }
    if (default_index < 0 || default_index >= direction.count) {
        default_index = 0;
    }
    GtkDropDown* const combo = GTK_DROP_DOWN(direction.combo);
    gtk_widget_set_sensitive(direction.combo, direction.count > 0 ? TRUE : FALSE);
    // What is selected on the way is nobody's choice.
    g_signal_handlers_block_by_func(combo, reinterpret_cast<gpointer>(direction.selected), nullptr);
    gtk_drop_down_set_model(combo, G_LIST_MODEL(names.get()));
    gtk_drop_down_set_selected(combo, static_cast<guint>(default_index));
    g_signal_handlers_unblock_by_func(combo, reinterpret_cast<gpointer>(direction.selected),
                                      nullptr);
    if (direction.count > 0) {
        direction.set_device(default_index);
    }
}

void choose(const Direction& direction) {
    const guint position = gtk_drop_down_get_selected(GTK_DROP_DOWN(direction.combo));
    if (direction.count > 0 && position < static_cast<guint>(direction.count)) {
        direction.set_device(static_cast<std::int32_t>(position));
    }
}

} // namespace

std::int32_t g_input_device_count = 0;
std::int32_t g_output_device_count = 0;

void refresh_audio_device_dropdowns() {
    if (g_input_device_combo == nullptr || g_output_device_combo == nullptr) {
        return;
    }
    refresh(k_input);
    refresh(k_output);
}

void on_input_device_selected(GObject*, GParamSpec*, gpointer) {
    choose(k_input);
}

void on_output_device_selected(GObject*, GParamSpec*, gpointer) {
    choose(k_output);
}
