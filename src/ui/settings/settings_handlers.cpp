// What the volumes, the listening test, the switch and the choice of a language do. Called by GTK.
#include "storage/local_files.h"
#include "ui/localisation.h"
#include "ui/settings/settings_internal.h"

#include <cstdio>

namespace {

constexpr double k_percent = 100.0;

void tell_volume(GtkRange* scale, GuiLevelCallback callback) {
    if (callback != nullptr) {
        callback(static_cast<float>(gtk_range_get_value(scale) / k_percent));
    }
}

} // namespace

bool g_is_testing_audio = false;

void on_input_volume_changed(GtkRange* scale, gpointer) {
    tell_volume(scale, g_on_gain);
}

void on_output_volume_changed(GtkRange* scale, gpointer) {
    tell_volume(scale, g_on_volume);
}

void show_audio_test() {
    if (g_test_audio_btn == nullptr) {
        return;
    }
    gtk_button_set_label(GTK_BUTTON(g_test_audio_btn),
                         tr(g_is_testing_audio ? "audio_test_stop" : "audio_test_start"));
    if (g_is_testing_audio) {
        gtk_widget_add_css_class(g_test_audio_btn, "testing");
    } else {
        gtk_widget_remove_css_class(g_test_audio_btn, "testing");
    }
}

void on_test_audio_clicked(GtkWidget*, gpointer) {
    g_is_testing_audio = !g_is_testing_audio;
    show_audio_test();
    if (g_on_loopback != nullptr) {
        g_on_loopback(g_is_testing_audio);
    }
}

// The voice chain always runs whole.
gboolean on_noise_reduction_toggled(GtkSwitch*, gboolean on, gpointer) {
    std::printf("Noise reduction: %s\n", on != FALSE ? "ON" : "OFF");
    std::fflush(stdout);
    return FALSE; // the switch shows its new state
}

void on_language_selected(GObject* combo, GParamSpec*, gpointer) {
    const bool is_english = gtk_drop_down_get_selected(GTK_DROP_DOWN(combo)) == 1;
    const std::int32_t language = is_english ? k_language_english : k_language_spanish;
    if (language != g_language) {
        g_language = language;
        save_local_settings();
        apply_language_to_ui();
    }
}
