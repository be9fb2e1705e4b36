// The widgets of the settings tab. See ui/settings/settings_internal.h.
#include "ui/settings/settings_internal.h"

GtkWidget* g_settings_devices_title_label = nullptr;
GtkWidget* g_settings_input_device_label = nullptr;
GtkWidget* g_settings_output_device_label = nullptr;
GtkWidget* g_input_device_combo = nullptr;
GtkWidget* g_output_device_combo = nullptr;
GtkWidget* g_settings_volume_title_label = nullptr;
GtkWidget* g_settings_input_volume_label = nullptr;
GtkWidget* g_settings_output_volume_label = nullptr;
GtkWidget* g_settings_input_level_label = nullptr;
GtkWidget* g_input_volume_scale = nullptr;
GtkWidget* g_output_volume_scale = nullptr;
GtkWidget* g_settings_audio_test_title_label = nullptr;
GtkWidget* g_settings_audio_test_desc_label = nullptr;
GtkWidget* g_test_audio_btn = nullptr;
GtkWidget* g_settings_processing_title_label = nullptr;
GtkWidget* g_settings_noise_reduction_label = nullptr;
GtkWidget* g_settings_noise_reduction_desc_label = nullptr;
GtkWidget* g_noise_reduction_switch = nullptr;
GtkWidget* g_settings_lang_title_label = nullptr;
GtkWidget* g_settings_lang_desc_label = nullptr;
GtkWidget* g_language_combo = nullptr;
GtkWidget* g_settings_account_title_label = nullptr;
GtkWidget* g_settings_account_desc_label = nullptr;
GtkWidget* g_logout_btn = nullptr;
