// The settings tab: its controls, its devices, its volumes, the listening test and the language.
#include "settings_fixture.h"

#include "audio/audio_devices.h"
#include "audio/audio_engine.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/settings/settings_internal.h"

#include <cstring>

namespace {

using fake_audio::Call;

/// Of the endpoints that a start of the sound takes, in the order in which it does.
Texts devices_in_use() {
    const std::size_t before = fake_audio::calls().size();
    Audio_Start();
    Audio_Stop();
    Texts devices;
    const std::vector<std::string> calls = fake_audio::calls();
    for (std::size_t i = before; i < calls.size(); ++i) {
        constexpr std::string_view k_activate = "activate ";
        if (calls[i].starts_with(k_activate)) {
            devices.push_back(calls[i].substr(k_activate.size()));
        }
    }
    return devices;
}

std::vector<GtkWidget*> sections() {
    return children_of(gtk_widget_get_parent(column_of(g_logout_btn)));
}

bool is_sensitive(GtkWidget* widget) {
    return gtk_widget_get_sensitive(widget) != FALSE;
}

TEST_F(SettingsTest, TheTabHoldsItsSectionsFromTopToBottom) {
    run_on_settings([] {
        EXPECT_EQ(label(g_hub_settings_tab_label), "Configuración");
        const std::vector<GtkWidget*> parts = sections();
        ASSERT_EQ(parts.size(), 6U);
        Texts titles;
        for (GtkWidget* const section : parts) {
            EXPECT_TRUE(has_class(section, "settings-section"));
            GtkWidget* const title = gtk_widget_get_first_child(section);
            EXPECT_TRUE(has_class(title, "settings-title"));
            titles.push_back(label(title));
        }
        EXPECT_EQ(titles, (Texts{"Dispositivos de audio", "Volumen", "Prueba de audio",
                                 "Procesamiento de voz", "Idioma", "Cuenta"}));
        EXPECT_EQ(
            label_texts(parts[1]),
            (Texts{"Volumen", "Volumen de entrada:", "Volumen de salida:", "Nivel de entrada:"}));
        EXPECT_TRUE(has_class(g_settings_audio_test_desc_label, "settings-description"));
        EXPECT_TRUE(has_class(g_test_audio_btn, "test-audio-btn"));
        EXPECT_EQ(button_label(g_test_audio_btn), "🎤 Iniciar Prueba de Audio");
        EXPECT_TRUE(has_class(g_settings_noise_reduction_label, "settings-option-title"));
        EXPECT_TRUE(has_class(g_settings_noise_reduction_desc_label, "settings-option-desc"));
        EXPECT_TRUE(has_class(g_audio_meter, "audio-meter"));
        EXPECT_EQ(choices(g_language_combo), (Texts{"Español", "English"}));
        EXPECT_EQ(label(g_settings_account_desc_label), "Cierra tu sesión en este dispositivo.");
        EXPECT_TRUE(has_class(g_logout_btn, "btn-primary"));
    });
}

TEST_F(SettingsTest, TheControlsStandWhereTheyBegin) {
    run_on_settings([] {
        for (GtkWidget* const scale : {g_input_volume_scale, g_output_volume_scale}) {
            GtkAdjustment* const range = gtk_range_get_adjustment(GTK_RANGE(scale));
            EXPECT_EQ(gtk_adjustment_get_lower(range), 0.0);
            EXPECT_EQ(gtk_adjustment_get_upper(range), 200.0);
            EXPECT_EQ(gtk_adjustment_get_step_increment(range), 1.0);
            EXPECT_EQ(gtk_range_get_value(GTK_RANGE(scale)), 100.0);
            EXPECT_TRUE(gtk_widget_get_hexpand(scale));
        }
        for (GtkWidget* const name :
             {g_settings_input_volume_label, g_settings_output_volume_label}) {
            int width = 0;
            gtk_widget_get_size_request(name, &width, nullptr);
            EXPECT_EQ(width, 180);
        }
        EXPECT_EQ(gtk_level_bar_get_min_value(GTK_LEVEL_BAR(g_audio_meter)), 0.0);
        EXPECT_EQ(gtk_level_bar_get_max_value(GTK_LEVEL_BAR(g_audio_meter)), 1.0);
        EXPECT_TRUE(gtk_switch_get_active(GTK_SWITCH(g_noise_reduction_switch)));
        EXPECT_EQ(gtk_widget_get_valign(g_noise_reduction_switch), GTK_ALIGN_CENTER);
        EXPECT_EQ(journal(), Texts{});
    });
}

TEST_F(SettingsTest, EveryControlHasAName) {
    run_on_settings([] {
        const auto named_by = [](GtkWidget* control, GtkWidget* name) {
            const GCharPtr difference(gtk_test_accessible_check_relation(
                GTK_ACCESSIBLE(control), GTK_ACCESSIBLE_RELATION_LABELLED_BY, name, nullptr));
            EXPECT_EQ(difference, nullptr) << label(name) << difference.get();
        };
        named_by(g_input_device_combo, g_settings_input_device_label);
        named_by(g_output_device_combo, g_settings_output_device_label);
        named_by(g_input_volume_scale, g_settings_input_volume_label);
        named_by(g_output_volume_scale, g_settings_output_volume_label);
        named_by(g_audio_meter, g_settings_input_level_label);
        named_by(g_noise_reduction_switch, g_settings_noise_reduction_label);
        named_by(g_language_combo, g_settings_lang_title_label);
    });
}

TEST_F(SettingsTest, TabGoesFromControlToControl) {
    add_microphones({"Uno", "Dos"});
    add_loudspeakers({"Uno", "Dos"});
    run_on_settings([] {
        gtk_widget_grab_focus(g_input_device_combo);
        for (GtkWidget* const next :
             {g_output_device_combo, g_input_volume_scale, g_output_volume_scale, g_test_audio_btn,
              g_noise_reduction_switch, g_language_combo, g_logout_btn}) {
            press_tab();
            EXPECT_TRUE(holds_keyboard(next)) << G_OBJECT_TYPE_NAME(next);
        }
    });
}

// --- Devices
// --------------------------------------------------------------------------------------

TEST_F(SettingsTest, WithoutDevicesTheListsSayThatAndCannotBeUsed) {
    run_on_settings([] {
        EXPECT_EQ(choices(g_input_device_combo), (Texts{"No hay dispositivos de entrada"}));
        EXPECT_EQ(choices(g_output_device_combo), (Texts{"No hay dispositivos de salida"}));
        for (GtkWidget* const combo : {g_input_device_combo, g_output_device_combo}) {
            EXPECT_FALSE(is_sensitive(combo));
            EXPECT_EQ(chosen(combo), 0U);
        }
        EXPECT_EQ(g_input_device_count, 0);
        EXPECT_EQ(g_output_device_count, 0);
        const int asked = fake_audio::count(Call::active_device);
        on_input_device_selected(nullptr, nullptr, nullptr);
        on_output_device_selected(nullptr, nullptr, nullptr);
        EXPECT_EQ(fake_audio::count(Call::active_device), asked);
    });
}

TEST_F(SettingsTest, OneDeviceIsTheDefault) {
    add_microphones({"Cascos"});
    add_loudspeakers({"Altavoz"});
    run_on_settings([] {
        EXPECT_EQ(choices(g_input_device_combo), (Texts{"Cascos (Predeterminado)"}));
        EXPECT_EQ(choices(g_output_device_combo), (Texts{"Altavoz (Predeterminado)"}));
        EXPECT_TRUE(is_sensitive(g_input_device_combo));
        EXPECT_EQ(devices_in_use(), (Texts{"in Cascos", "out Altavoz"}));
    });
}

TEST_F(SettingsTest, TheDefaultDeviceOfSeveralIsSelectedAndTaken) {
    add_microphones({"Uno", "Dos", "Tres"});
    add_loudspeakers({"A", "B"});
    fake_audio::set_default(AudioFlow::capture, "in Dos");
    run_on_settings([] {
        EXPECT_EQ(choices(g_input_device_combo), (Texts{"Uno", "Dos (Predeterminado)", "Tres"}));
        EXPECT_EQ(chosen(g_input_device_combo), 1U);
        EXPECT_EQ(choices(g_output_device_combo), (Texts{"A (Predeterminado)", "B"}));
        EXPECT_EQ(chosen(g_output_device_combo), 0U);
        EXPECT_EQ(g_input_device_count, 3);
        EXPECT_EQ(g_output_device_count, 2);
        EXPECT_EQ(devices_in_use(), (Texts{"in Dos", "out A"}));
    });
}

TEST_F(SettingsTest, WhatIsChosenIsTaken) {
    add_microphones({"Uno", "Dos"});
    add_loudspeakers({"A", "B"});
    run_on_settings([] {
        choose(g_input_device_combo, 1);
        choose(g_output_device_combo, 1);
        EXPECT_EQ(devices_in_use(), (Texts{"in Dos", "out B"}));
        choose(g_input_device_combo, 0);
        EXPECT_EQ(devices_in_use(), (Texts{"in Uno", "out B"}));
        choose(g_input_device_combo, GTK_INVALID_LIST_POSITION); // none of them
        EXPECT_EQ(devices_in_use(), (Texts{"in Uno", "out B"}));
    });
}

TEST_F(SettingsTest, AnotherDeviceWhileTalkingGoesOnWithIt) {
    add_microphones({"Uno", "Dos"});
    add_loudspeakers({"A", "B"});
    run_on_settings([] {
        ASSERT_EQ(Audio_Start(), 1);
        choose(g_input_device_combo, 1);
        EXPECT_EQ(Audio_IsRunning(), 1);
        choose(g_output_device_combo, 1);
        EXPECT_EQ(Audio_IsRunning(), 1);
        Audio_Stop();
    });
}

TEST_F(SettingsTest, AnUnknownDefaultIsTheFirst) {
    add_microphones({"Uno", "Dos"});
    fake_audio::set_default(AudioFlow::capture, "elsewhere");
    run_on_settings([] {
        EXPECT_EQ(choices(g_input_device_combo), (Texts{"Uno (Predeterminado)", "Dos"}));
        EXPECT_EQ(chosen(g_input_device_combo), 0U);
    });
}

TEST_F(SettingsTest, DevicesThatCannotTellTheirNamesAreLeftOut) {
    add_microphones({"Uno", "Dos"});
    fake_audio::answer(Call::friendly_name, k_audio_fail);
    run_on_settings([] {
        EXPECT_EQ(choices(g_input_device_combo), Texts{});
        EXPECT_TRUE(is_sensitive(g_input_device_combo));
        EXPECT_EQ(g_input_device_count, 2);
        fake_audio::heal(Call::friendly_name);
        refresh_audio_device_dropdowns();
        EXPECT_EQ(choices(g_input_device_combo), (Texts{"Uno (Predeterminado)", "Dos"}));
    });
}

TEST_F(SettingsTest, ARefreshTakesTheDefaultsOnceAndNothingElse) {
    add_microphones({"Uno", "Dos", "Tres"});
    fake_audio::set_default(AudioFlow::capture, "in Tres");
    run_on_settings([] {
        choose(g_input_device_combo, 1);
        ASSERT_EQ(Audio_Start(), 1);
        const int starts = fake_audio::count(Call::start);
        refresh_audio_device_dropdowns();
        EXPECT_EQ(chosen(g_input_device_combo), 2U);
        EXPECT_EQ(fake_audio::count(Call::start), starts + 1); // on one other device
        Audio_Stop();
        EXPECT_EQ(devices_in_use(), (Texts{"in Tres"}));
    });
}

TEST_F(SettingsTest, WithoutTheListsNothingIsRefreshed) {
    add_microphones({"Uno"});
    ASSERT_EQ(Audio_Init(), 1);
    const int asked = fake_audio::count(Call::active_count);
    refresh_audio_device_dropdowns();
    EXPECT_EQ(fake_audio::count(Call::active_count), asked);
}

TEST_F(SettingsTest, LongAndBrokenNamesAreShownAsFarAsTheyGo) {
    add_microphones({std::string(300, 'x'), "Mic \xff roto"});
    run_on_settings([] {
        const Texts shown = choices(g_input_device_combo);
        ASSERT_EQ(shown.size(), 2U);
        EXPECT_EQ(shown[0], std::string(255, 'x') + " (Predeterminado)");
        EXPECT_TRUE(g_utf8_validate(shown[1].c_str(), -1, nullptr));
    });
}

TEST_F(SettingsTest, TheSuffixIsOfTheLanguageInWhichTheListWasFilled) {
    add_microphones({"Uno"});
    g_language = k_language_english;
    run_on_settings([] {
        EXPECT_EQ(choices(g_input_device_combo), (Texts{"Uno (Default)"}));
        EXPECT_EQ(choices(g_output_device_combo), (Texts{"No output devices"}));
    });
}

// --- Volumes, test, switch, language
// --------------------------------------------------------------

TEST_F(SettingsTest, VolumesAreToldAsFactors) {
    run_on_settings([] {
        for (const double percent : {200.0, 0.0, 51.0, 100.0}) {
            gtk_range_set_value(GTK_RANGE(g_input_volume_scale), percent);
        }
        gtk_range_set_value(GTK_RANGE(g_output_volume_scale), 150.0);
        EXPECT_EQ(journal(),
                  (Texts{"gain 2.00", "gain 0.00", "gain 0.51", "gain 1.00", "volume 1.50"}));
        g_on_gain = nullptr;
        g_on_volume = nullptr;
        gtk_range_set_value(GTK_RANGE(g_input_volume_scale), 3.0);
        gtk_range_set_value(GTK_RANGE(g_output_volume_scale), 3.0);
        EXPECT_EQ(journal().size(), 5U);
    });
}

TEST_F(SettingsTest, TheListeningTestIsSwitchedOnAndOff) {
    run_on_settings([] {
        click(g_test_audio_btn);
        EXPECT_TRUE(g_is_testing_audio);
        EXPECT_EQ(button_label(g_test_audio_btn), "🛑 Detener Prueba");
        EXPECT_TRUE(has_class(g_test_audio_btn, "testing"));
        click(g_test_audio_btn);
        EXPECT_FALSE(g_is_testing_audio);
        EXPECT_EQ(button_label(g_test_audio_btn), "🎤 Iniciar Prueba de Audio");
        EXPECT_FALSE(has_class(g_test_audio_btn, "testing"));
        EXPECT_EQ(journal(), (Texts{"loopback on", "loopback off"}));
        EXPECT_EQ(Audio_IsRunning(), 0); // outside a room it changes only the button
        g_on_loopback = nullptr;
        click(g_test_audio_btn);
        EXPECT_TRUE(g_is_testing_audio);
        click(g_test_audio_btn);
    });
}

TEST_F(SettingsTest, TheSwitchSaysSoOnTheConsole) {
    run_on_settings([] {
        testing::internal::CaptureStdout();
        gtk_switch_set_active(GTK_SWITCH(g_noise_reduction_switch), FALSE);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Noise reduction: OFF\n");
        EXPECT_FALSE(gtk_switch_get_state(GTK_SWITCH(g_noise_reduction_switch)));
        testing::internal::CaptureStdout();
        gtk_switch_set_active(GTK_SWITCH(g_noise_reduction_switch), TRUE);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Noise reduction: ON\n");
        EXPECT_TRUE(gtk_switch_get_state(GTK_SWITCH(g_noise_reduction_switch)));
    });
}

TEST_F(SettingsTest, AnotherLanguageIsSpokenAndKept) {
    run_on_settings([] {
        EXPECT_EQ(chosen(g_language_combo), 0U);
        EXPECT_EQ(settings_file(), "");
        choose(g_language_combo, 1);
        EXPECT_EQ(g_language, k_language_english);
        EXPECT_EQ(label(g_settings_volume_title_label), "Volume");
        EXPECT_EQ(label(g_hub_settings_tab_label), "Settings");
        EXPECT_EQ(button_label(g_logout_btn), "Sign out");
        EXPECT_EQ(settings_file(), "language=en\ndisplay_name=\n");
        choose(g_language_combo, 0);
        EXPECT_EQ(g_language, k_language_spanish);
        EXPECT_EQ(button_label(g_logout_btn), "Cerrar sesión");
        EXPECT_EQ(settings_file(), "language=es\ndisplay_name=\n");
    });
}

TEST_F(SettingsTest, TheSameLanguageIsNotSavedAnew) {
    g_language = k_language_english;
    run_on_settings([] {
        EXPECT_EQ(chosen(g_language_combo), 1U);
        on_language_selected(G_OBJECT(g_language_combo), nullptr, nullptr);
        EXPECT_EQ(settings_file(), "");
    });
}

TEST_F(SettingsTest, TheMeterFollowsTheLevel) {
    run_on_settings([] {
        GUI_UpdateAudioLevel(0.5F);
        wait_until([] { return gtk_level_bar_get_value(GTK_LEVEL_BAR(g_audio_meter)) == 0.5; });
    });
}

} // namespace
