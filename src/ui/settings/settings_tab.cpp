// The settings tab, from top to bottom. Called by the hub's page.
#include "ui/settings/settings_internal.h"

#include "ui/localisation.h"
#include "ui/room/room_internal.h"

namespace {

constexpr int k_tab_margin = 24;
constexpr int k_tab_width = 640;
constexpr int k_section_gap = 16;
constexpr int k_line_gap = 12;
constexpr int k_text_gap = 4;
constexpr int k_label_width = 180;
constexpr double k_volume_max = 200.0;
constexpr double k_volume_start = 100.0;
constexpr int k_choice_max_chars = 60;

GtkWidget* append_section(GtkWidget* tab, GtkWidget*& title, const char* title_key) {
    GtkWidget* const section = create_box(GTK_ORIENTATION_VERTICAL, k_line_gap, "settings-section");
    keep(title, append_caption(section, tr(title_key), {"settings-title"}));
    gtk_box_append(GTK_BOX(tab), section);
    return section;
}

GtkWidget* append_text(GtkWidget* box, const char* key, const char* css_class) {
    GtkWidget* const label = append_label(box, tr(key), {css_class});
    gtk_label_set_xalign(GTK_LABEL(label), 0.0F);
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
    return label;
}

/// A line of a name and the control behind it, which it names.
void append_line(GtkWidget* section, GtkWidget*& label, const char* key, GtkWidget* control) {
    GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_line_gap);
    keep(label, append_label(line, tr(key), {}));
    gtk_label_set_xalign(GTK_LABEL(label), 0.0F);
    gtk_widget_set_size_request(label, k_label_width, -1);
    gtk_widget_set_hexpand(control, TRUE);
    set_labelled_by(control, label);
    gtk_box_append(GTK_BOX(line), control);
    gtk_box_append(GTK_BOX(section), line);
}

// GTK's own rows are as wide as the longest name.
void on_choice_setup(GtkSignalListItemFactory*, GtkListItem* item, gpointer) {
    GtkWidget* const label = gtk_label_new(nullptr);
    gtk_label_set_xalign(GTK_LABEL(label), 0.0F);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    gtk_label_set_max_width_chars(GTK_LABEL(label), k_choice_max_chars);
    tell_cut_text(label);
    gtk_list_item_set_child(item, label);
}

void on_choice_bind(GtkSignalListItemFactory*, GtkListItem* item, gpointer) {
    gtk_label_set_text(
        GTK_LABEL(gtk_list_item_get_child(item)),
        gtk_string_object_get_string(static_cast<GtkStringObject*>(gtk_list_item_get_item(item))));
}

GtkWidget* create_choice(GCallback selected, const char* const* entries = nullptr) {
    GtkWidget* const choice = gtk_drop_down_new_from_strings(entries);
    const GObjectPtr<GtkListItemFactory> factory(gtk_signal_list_item_factory_new());
    g_signal_connect(factory.get(), "setup", G_CALLBACK(on_choice_setup), nullptr);
    g_signal_connect(factory.get(), "bind", G_CALLBACK(on_choice_bind), nullptr);
    gtk_drop_down_set_factory(GTK_DROP_DOWN(choice), factory.get());
    g_signal_connect(choice, "notify::selected", selected, nullptr);
    return choice;
}

GtkWidget* create_volume(GCallback changed) {
    GtkWidget* const scale =
        gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, 0.0, k_volume_max, 1.0);
    gtk_range_set_value(GTK_RANGE(scale), k_volume_start);
    g_signal_connect(scale, "value-changed", changed, nullptr);
    return scale;
}

GtkWidget* create_meter() {
    GtkWidget* const meter = gtk_level_bar_new_for_interval(0.0, 1.0);
    gtk_widget_add_css_class(meter, "audio-meter");
    gtk_widget_set_valign(meter, GTK_ALIGN_CENTER);
    return meter;
}

void append_devices(GtkWidget* tab) {
    GtkWidget* const section = append_section(tab, g_settings_devices_title_label, "devices_title");
    keep(g_input_device_combo, create_choice(G_CALLBACK(on_input_device_selected)));
    append_line(section, g_settings_input_device_label, "input_device", g_input_device_combo);
    keep(g_output_device_combo, create_choice(G_CALLBACK(on_output_device_selected)));
    append_line(section, g_settings_output_device_label, "output_device", g_output_device_combo);
}

void append_volumes(GtkWidget* tab) {
    GtkWidget* const section = append_section(tab, g_settings_volume_title_label, "volume_title");
    keep(g_input_volume_scale, create_volume(G_CALLBACK(on_input_volume_changed)));
    append_line(section, g_settings_input_volume_label, "input_volume", g_input_volume_scale);
    keep(g_output_volume_scale, create_volume(G_CALLBACK(on_output_volume_changed)));
    append_line(section, g_settings_output_volume_label, "output_volume", g_output_volume_scale);
    keep(g_audio_meter, create_meter());
    append_line(section, g_settings_input_level_label, "input_level", g_audio_meter);
}

void append_audio_test(GtkWidget* tab) {
    GtkWidget* const section =
        append_section(tab, g_settings_audio_test_title_label, "audio_test_title");
    keep(g_settings_audio_test_desc_label,
         append_text(section, "audio_test_desc", "settings-description"));
    keep(g_test_audio_btn, create_text_button(tr("audio_test_start"), "test-audio-btn",
                                              G_CALLBACK(on_test_audio_clicked)));
    gtk_widget_set_halign(g_test_audio_btn, GTK_ALIGN_START);
    gtk_box_append(GTK_BOX(section), g_test_audio_btn);
    show_audio_test();
}

GtkWidget* create_noise_reduction_switch() {
    GtkWidget* const noise_reduction = gtk_switch_new();
    gtk_switch_set_active(GTK_SWITCH(noise_reduction), TRUE);
    gtk_widget_set_valign(noise_reduction, GTK_ALIGN_CENTER);
    g_signal_connect(noise_reduction, "state-set", G_CALLBACK(on_noise_reduction_toggled), nullptr);
    return noise_reduction;
}

void append_processing(GtkWidget* tab) {
    GtkWidget* const section =
        append_section(tab, g_settings_processing_title_label, "processing_title");
    GtkWidget* const texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_text_gap);
    gtk_widget_set_hexpand(texts, TRUE);
    keep(g_settings_noise_reduction_label,
         append_text(texts, "noise_reduction", "settings-option-title"));
    keep(g_settings_noise_reduction_desc_label,
         append_text(texts, "noise_reduction_desc", "settings-option-desc"));

    keep(g_noise_reduction_switch, create_noise_reduction_switch());
    set_labelled_by(g_noise_reduction_switch, g_settings_noise_reduction_label);
    GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_line_gap);
    gtk_box_append(GTK_BOX(line), texts);
    gtk_box_append(GTK_BOX(line), g_noise_reduction_switch);
    gtk_box_append(GTK_BOX(section), line);
}

void append_language(GtkWidget* tab) {
    GtkWidget* const section = append_section(tab, g_settings_lang_title_label, "lang_title");
    keep(g_settings_lang_desc_label, append_text(section, "lang_desc", "settings-description"));
    constexpr const char* k_languages[] = {"Español", "English", nullptr};
    keep(g_language_combo, create_choice(G_CALLBACK(on_language_selected), k_languages));
    // Before anybody has chosen, the handler finds that nothing has changed.
    gtk_drop_down_set_selected(GTK_DROP_DOWN(g_language_combo),
                               g_language == k_language_english ? 1 : 0);
    set_labelled_by(g_language_combo, g_settings_lang_title_label);
    gtk_box_append(GTK_BOX(section), g_language_combo);
}

void append_account(GtkWidget* tab) {
    GtkWidget* const section = append_section(tab, g_settings_account_title_label, "account_title");
    keep(g_settings_account_desc_label,
         append_text(section, "account_desc", "settings-description"));
    keep(g_logout_btn,
         create_text_button(tr("logout_btn"), "btn-primary", G_CALLBACK(on_logout_clicked)));
    gtk_widget_set_halign(g_logout_btn, GTK_ALIGN_START);
    gtk_box_append(GTK_BOX(section), g_logout_btn);
}

} // namespace

GtkWidget* create_settings_tab() {
    GtkWidget* const tab = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_section_gap);
    set_margins(tab, k_tab_margin);
    gtk_widget_set_halign(tab, GTK_ALIGN_CENTER);
    gtk_widget_set_size_request(tab, k_tab_width, -1);
    append_devices(tab);
    append_volumes(tab);
    append_audio_test(tab);
    append_processing(tab);
    append_language(tab);
    append_account(tab);
    refresh_audio_device_dropdowns();
    GtkWidget* const scroller = gtk_scrolled_window_new();
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), tab);
    return scroller;
}
