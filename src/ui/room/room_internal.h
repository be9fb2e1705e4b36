// What the room view, its audio bar and the settings tab share with the rest of the interface:
// their widgets, beside those that ui/ui_internal.h has. Null while the widget does not exist. Main
// thread.
#pragma once

#include "ui/ui_internal.h"

// Room view and audio bar.
extern GtkWidget* g_peers_header_label;
extern GtkWidget* g_chat_entry;
extern GtkWidget* g_back_to_hub_btn;

// Settings tab.
extern GtkWidget* g_settings_devices_title_label;
extern GtkWidget* g_settings_input_device_label;
extern GtkWidget* g_settings_output_device_label;
extern GtkWidget* g_settings_volume_title_label;
extern GtkWidget* g_settings_input_volume_label;
extern GtkWidget* g_settings_output_volume_label;
extern GtkWidget* g_settings_input_level_label;
extern GtkWidget* g_settings_audio_test_title_label;
extern GtkWidget* g_settings_audio_test_desc_label;
extern GtkWidget* g_test_audio_btn;
extern GtkWidget* g_settings_processing_title_label;
extern GtkWidget* g_settings_noise_reduction_label;
extern GtkWidget* g_settings_noise_reduction_desc_label;
extern GtkWidget* g_settings_lang_title_label;
extern GtkWidget* g_settings_lang_desc_label;
extern GtkWidget* g_settings_account_title_label;
extern GtkWidget* g_settings_account_desc_label;
extern GtkWidget* g_logout_btn;
extern bool g_is_testing_audio;
