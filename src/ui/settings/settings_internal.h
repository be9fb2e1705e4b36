// The settings tab of the hub: its widgets, what they do, and the log-out. Used by the hub's page
// and by the texts. A widget's global is null while the widget does not exist, and every operation
// minds that. Main thread.
#pragma once

#include "ui/ui_internal.h"

#include <cstdint>

extern GtkWidget* g_settings_devices_title_label;
extern GtkWidget* g_settings_input_device_label;
extern GtkWidget* g_settings_output_device_label;
extern GtkWidget* g_input_device_combo; ///< a drop-down, as the other two
extern GtkWidget* g_output_device_combo;
extern GtkWidget* g_settings_volume_title_label;
extern GtkWidget* g_settings_input_volume_label;
extern GtkWidget* g_settings_output_volume_label;
extern GtkWidget* g_settings_input_level_label;
extern GtkWidget* g_input_volume_scale; ///< percent
extern GtkWidget* g_output_volume_scale;
extern GtkWidget* g_settings_audio_test_title_label;
extern GtkWidget* g_settings_audio_test_desc_label;
extern GtkWidget* g_test_audio_btn;
extern GtkWidget* g_settings_processing_title_label;
extern GtkWidget* g_settings_noise_reduction_label;
extern GtkWidget* g_settings_noise_reduction_desc_label;
extern GtkWidget* g_noise_reduction_switch;
extern GtkWidget* g_settings_lang_title_label;
extern GtkWidget* g_settings_lang_desc_label;
extern GtkWidget* g_language_combo;
extern GtkWidget* g_settings_account_title_label;
extern GtkWidget* g_settings_account_desc_label;
extern GtkWidget* g_logout_btn;

// The tab (settings_tab.cpp).
GtkWidget* create_settings_tab();

// Devices (settings_devices.cpp).
extern std::int32_t g_input_device_count; ///< when the drop-down was filled
extern std::int32_t g_output_device_count;

/// Lists the devices anew and takes the default ones. Nothing unless both drop-downs exist.
void refresh_audio_device_dropdowns();
void on_input_device_selected(GObject* sender, GParamSpec* property, gpointer data);
void on_output_device_selected(GObject* sender, GParamSpec* property, gpointer data);

// Volumes, listening test, processing, language (settings_handlers.cpp).
extern bool g_is_testing_audio;

/// The button says what a click on it does, in the current language.
void show_audio_test();
void on_input_volume_changed(GtkRange* sender, gpointer data);
void on_output_volume_changed(GtkRange* sender, gpointer data);
void on_test_audio_clicked(GtkWidget* sender, gpointer data);
gboolean on_noise_reduction_toggled(GtkSwitch* sender, gboolean on, gpointer data);
void on_language_selected(GObject* sender, GParamSpec* property, gpointer data);

// Log-out (log_out.cpp).

/// Asks first, where there is a window to ask in.
void on_logout_clicked(GtkWidget* sender, gpointer data);

/// Leaves the room, the chat and the session, and shows the login page. Blocks as long as the chat
/// channel takes to end, 1.5 s at most, and the audio.
void perform_logout();
