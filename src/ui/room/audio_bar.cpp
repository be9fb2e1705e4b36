// The bar under the room view: who and where the user is, what is heard and said, the way back.
// Called by the shell.
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

namespace {

constexpr int k_bar_spacing = 10;

// A button that switches something off and on again.
struct AudioToggle {
    GtkWidget*& button;
    bool& is_off;
    GuiToggleCallback& callback;
    const char* on_icon;
    const char* off_icon;
    const char* name; ///< Spanish in both languages
};

const AudioToggle k_microphone{g_mute_btn,
                               g_is_muted,
                               g_on_mute,
                               "microphone-sensitivity-high-symbolic",
                               "microphone-disabled-symbolic",
                               "Silenciar micrófono"};
const AudioToggle k_loudspeaker{g_deafen_btn,
                                g_is_deafened,
                                g_on_deafen,
                                "audio-volume-high-symbolic",
                                "audio-volume-muted-symbolic",
                                "Silenciar audio"};

void show_toggle(const AudioToggle& toggle) {
    if (toggle.button == nullptr) {
        return;
    }
    gtk_button_set_icon_name(GTK_BUTTON(toggle.button),
                             toggle.is_off ? toggle.off_icon : toggle.on_icon);
    set_tooltip_and_name(toggle.button, toggle.name);
    gtk_accessible_update_state(
        GTK_ACCESSIBLE(toggle.button), GTK_ACCESSIBLE_STATE_PRESSED,
        toggle.is_off ? GTK_ACCESSIBLE_TRISTATE_TRUE : GTK_ACCESSIBLE_TRISTATE_FALSE, -1);
    if (toggle.is_off) {
        gtk_widget_add_css_class(toggle.button, "muted");
    } else {
        gtk_widget_remove_css_class(toggle.button, "muted");
    }
}

void switch_toggle(const AudioToggle& toggle) {
    toggle.is_off = !toggle.is_off;
    show_toggle(toggle);
    if (toggle.callback != nullptr) {
        toggle.callback(toggle.is_off);
    }
}

void append_toggle(GtkWidget* bar, const AudioToggle& toggle, GCallback on_clicked) {
    GtkWidget* const button = create_icon_button(toggle.on_icon, "audio-control", toggle.name);
    g_signal_connect(button, "clicked", on_clicked, nullptr);
    keep(toggle.button, button);
    show_toggle(toggle);
    gtk_box_append(GTK_BOX(bar), button);
}

} // namespace

GtkWidget* g_user_label = nullptr;
GtkWidget* g_status_label = nullptr;
GtkWidget* g_mute_btn = nullptr;
GtkWidget* g_deafen_btn = nullptr;
GtkWidget* g_back_to_hub_btn = nullptr;
bool g_is_muted = false;
bool g_is_deafened = false;

GtkWidget* create_audio_controls_bar() {
    GtkWidget* const bar = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_bar_spacing);
    gtk_widget_add_css_class(bar, "audio-bar");
    keep(g_user_label, append_caption(bar, "", {"user-name"}));
    gtk_widget_set_hexpand(g_user_label, TRUE);
    keep(g_status_label, append_caption(bar, tr("status_connecting"), {"status-text"}));
    append_toggle(bar, k_microphone, G_CALLBACK(on_mute_clicked));
    append_toggle(bar, k_loudspeaker, G_CALLBACK(on_deafen_clicked));

    keep(g_back_to_hub_btn,
         create_text_button(tr("btn_back_hub"), "btn-primary", G_CALLBACK(on_back_to_hub_clicked)));
    gtk_widget_set_valign(g_back_to_hub_btn, GTK_ALIGN_CENTER);
    gtk_box_append(GTK_BOX(bar), g_back_to_hub_btn);
    return bar;
}

void on_mute_clicked(GtkWidget*, gpointer) {
    switch_toggle(k_microphone);
    update_local_microphone();
}

void on_deafen_clicked(GtkWidget*, gpointer) {
    switch_toggle(k_loudspeaker);
}
