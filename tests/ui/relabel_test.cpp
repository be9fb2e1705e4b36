// Changing the language while the program runs.
#include "ui_harness.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/settings/settings_internal.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// A kind of widget: how to make one, and the text that it shows.
struct Kind {
    GtkWidget* (*create)();
    std::string (*text)(GtkWidget* widget);
    void (*set_text)(GtkWidget* widget, const char* text);
    const char* changed; ///< the signal that says so
};

void set_label_text(GtkWidget* label, const char* text) {
    gtk_label_set_text(GTK_LABEL(label), text);
}

void set_button_label(GtkWidget* button, const char* text) {
    gtk_button_set_label(GTK_BUTTON(button), text);
}

void set_placeholder(GtkWidget* entry, const char* text) {
    g_object_set(entry, "placeholder-text", text, nullptr);
}

constexpr Kind k_label{[] { return gtk_label_new(""); }, label, set_label_text, "notify::label"};
constexpr Kind k_button{[] { return gtk_button_new_with_label(""); }, button_label,
                        set_button_label, "notify::label"};
constexpr Kind k_entry{gtk_entry_new, placeholder, set_placeholder, "notify::placeholder-text"};
constexpr Kind k_password{gtk_password_entry_new, placeholder, set_placeholder,
                          "notify::placeholder-text"};
constexpr Kind k_tooltip{[] { return gtk_button_new_from_icon_name("list-add-symbolic"); }, tooltip,
                         gtk_widget_set_tooltip_text, "notify::tooltip-text"};

struct Expected {
    GtkWidget*& widget;
    const Kind& kind;
    const char* key;
};

const Expected k_expected[] = {
    {g_login_title_label, k_label, "login_title"},
    {g_login_subtitle_label, k_label, "login_subtitle"},
    {g_login_username_label, k_label, "login_user_label"},
    {g_username_entry, k_entry, "login_user_placeholder"},
    {g_login_password_label, k_label, "login_pass_label"},
    {g_password_entry, k_password, "login_pass_placeholder"},
    {g_login_backend_label, k_label, "login_backend_label"},
    {g_login_hint_label, k_label, "login_hint"},
    {g_login_btn, k_button, "login_login_btn"},
    {g_register_btn, k_button, "login_create_btn"},
    {g_google_login_btn_label, k_label, "login_google_btn"},
    {g_register_username_label, k_label, "register_user_label"},
    {g_register_username_entry, k_entry, "register_user_placeholder"},
    {g_register_password_label, k_label, "register_pass_label"},
    {g_register_password_entry, k_password, "register_pass_placeholder"},
    {g_register_confirm_password_label, k_label, "register_confirm_pass_label"},
    {g_register_confirm_password_entry, k_password, "register_confirm_pass_placeholder"},
    {g_register_create_btn, k_button, "register_create_btn"},
    {g_register_back_btn, k_button, "register_back_btn"},
    {g_hub_tab_label, k_label, "tab_spaces"},
    {g_hub_settings_tab_label, k_label, "tab_settings"},
    {g_hub_title_label, k_label, "hub_title"},
    {g_hub_subtitle_label, k_label, "hub_subtitle"},
    {g_hub_spaces_title_label, k_label, "hub_spaces_available"},
    {g_empty_spaces_label, k_label, "hub_empty_spaces"},
    {g_hub_display_name_label, k_label, "hub_display_name_label"},
    {g_hub_display_name_entry, k_entry, "hub_display_name_placeholder"},
    {g_hub_add_space_action_btn, k_tooltip, "hub_create_or_join_btn"},
    {g_hub_invite_space_code_btn, k_tooltip, "hub_invite_space_code_btn"},
    {g_hub_pending_invites_btn, k_tooltip, "hub_pending_invites_tooltip"},
    {g_server_entry, k_entry, "hub_space_name_placeholder"},
    {g_add_server_btn, k_button, "hub_create_space_btn"},
    {g_invite_code_entry, k_entry, "hub_invite_code_placeholder"},
    {g_join_code_btn, k_button, "hub_join_code_btn"},
    {g_invite_user_entry, k_entry, "hub_invite_email_placeholder"},
    {g_invite_user_btn, k_button, "hub_invite_btn"},
    {g_accept_invite_btn, k_button, "hub_accept_invite_btn"},
    {g_decline_invite_btn, k_button, "hub_decline_invite_btn"},
    {g_connect_server_btn, k_button, "hub_enter_selected_btn"},
    {g_hub_chat_title_label, k_label, "hub_chat_default_title"},
    {g_hub_space_users_title_label, k_label, "hub_space_users_title"},
    {g_hub_chat_input_view, k_tooltip, "hub_chat_input_placeholder"},
    {g_hub_chat_send_btn, k_button, "hub_chat_send_btn"},
    {g_hub_stream_back_btn, k_button, "hub_stream_back_chat_btn"},
    {g_hub_stream_status_label, k_label, "hub_stream_status_idle"},
    {g_rooms_title_label, k_label, "rooms_title"},
    {g_rooms_subtitle_label, k_label, "rooms_subtitle"},
    {g_room_name_entry, k_entry, "rooms_new_placeholder"},
    {g_create_room_btn, k_button, "rooms_create_btn"},
    {g_back_to_servers_btn, k_button, "rooms_back_spaces_btn"},
    {g_enter_room_btn, k_button, "rooms_enter_btn"},
    {g_peers_header_label, k_label, "channel_participants"},
    {g_chat_entry, k_entry, "channel_chat_placeholder"},
    {g_settings_devices_title_label, k_label, "devices_title"},
    {g_settings_input_device_label, k_label, "input_device"},
    {g_settings_output_device_label, k_label, "output_device"},
    {g_settings_volume_title_label, k_label, "volume_title"},
    {g_settings_input_volume_label, k_label, "input_volume"},
    {g_settings_output_volume_label, k_label, "output_volume"},
    {g_settings_input_level_label, k_label, "input_level"},
    {g_settings_audio_test_title_label, k_label, "audio_test_title"},
    {g_settings_audio_test_desc_label, k_label, "audio_test_desc"},
    {g_test_audio_btn, k_button, "audio_test_start"},
    {g_settings_processing_title_label, k_label, "processing_title"},
    {g_settings_noise_reduction_label, k_label, "noise_reduction"},
    {g_settings_noise_reduction_desc_label, k_label, "noise_reduction_desc"},
    {g_back_to_hub_btn, k_button, "btn_back_hub"},
    {g_settings_lang_title_label, k_label, "lang_title"},
    {g_settings_lang_desc_label, k_label, "lang_desc"},
    {g_settings_account_title_label, k_label, "account_title"},
    {g_settings_account_desc_label, k_label, "account_desc"},
    {g_logout_btn, k_button, "logout_btn"},
    {g_hub_user_edit_btn, k_tooltip, "hub_user_edit_name"},
};

/// Makes the widgets that no page has made yet; they live as long as the window.
void make_missing_widgets() {
    for (const Expected& row : k_expected) {
        if (row.widget == nullptr) {
            attach(row.widget, row.kind.create(), g_rooms_page);
        }
    }
}

/// Also those whose text is the same in both languages must show that they are written anew.
void make_all_texts_old() {
    gtk_window_set_title(GTK_WINDOW(g_window), "old");
    gtk_notebook_set_tab_label_text(GTK_NOTEBOOK(g_notebook), g_channel_tab, "old");
    for (const Expected& row : k_expected) {
        row.kind.set_text(row.widget, "old");
        EXPECT_EQ(row.kind.text(row.widget), "old") << row.key;
    }
}

std::vector<std::string> g_written; // keys, in the order in which their widgets changed

void on_written(GObject*, GParamSpec*, const char* key) {
    if (g_written.empty() || g_written.back() != key) {
        g_written.emplace_back(key);
    }
}

void watch(GtkWidget* widget, const char* signal, const char* key) {
    g_signal_connect(widget, signal, G_CALLBACK(on_written), const_cast<char*>(key));
}

std::string tab_label() {
    return gtk_notebook_get_tab_label_text(GTK_NOTEBOOK(g_notebook), g_channel_tab);
}

class Relabel : public testing::Test {
  protected:
    void TearDown() override {
        g_language = k_language_spanish;
        g_hub_chat_scope_id[0] = '\0';
        copy_text(g_current_room, "general");
        g_is_testing_audio = false;
        g_hub_user_name_editing = false;
    }
};

TEST_F(Relabel, EveryWidgetTakesTheTextOfTheNewLanguage) {
    run_interface([] {
        make_missing_widgets();
        for (const std::int32_t language :
             {k_language_english, k_language_spanish, k_language_english}) {
            make_all_texts_old();
            g_language = language;
            apply_language_to_ui();
            EXPECT_STREQ(gtk_window_get_title(GTK_WINDOW(g_window)), tr("app_window_title"));
            EXPECT_EQ(tab_label(), tr("tab_channel"));
            for (const Expected& row : k_expected) {
                EXPECT_EQ(row.kind.text(row.widget), tr(row.key)) << row.key;
                EXPECT_STRNE(tr(row.key), row.key) << "no such text";
            }
        }
    });
}

TEST_F(Relabel, WidgetsAreRelabelledPageByPageFromTheTop) {
    run_interface([] {
        make_missing_widgets();
        make_all_texts_old();
        std::vector<std::string> expected{"app_window_title"};
        watch(g_window, "notify::title", "app_window_title");
        for (const Expected& row : k_expected) {
            expected.emplace_back(row.key);
            watch(row.widget, row.kind.changed, row.key);
        }
        g_written.clear();
        apply_language_to_ui();
        EXPECT_EQ(g_written, expected);
    });
}

TEST_F(Relabel, TheSettingsLanguageIsThereWhenTheWindowOpens) {
    g_language = k_language_english;
    run_interface([] {
        for (const Expected& row : k_expected) {
            if (row.widget != nullptr) {
                EXPECT_EQ(row.kind.text(row.widget), tr(row.key)) << row.key;
            }
        }
    });
}

TEST_F(Relabel, TheRegisterPagesTitleStays) {
    run_interface([] {
        GtkWidget* const title =
            gtk_widget_get_first_child(gtk_widget_get_parent(g_register_username_label));
        g_language = k_language_english;
        apply_language_to_ui();
        EXPECT_EQ(label(title), "Crear cuenta");
    });
}

TEST_F(Relabel, AChosenChatKeepsItsTitle) {
    run_interface([] {
        make_missing_widgets();
        gtk_label_set_text(GTK_LABEL(g_hub_chat_title_label), "Club de lectura");
        copy_text(g_hub_chat_scope_id, "s1");
        apply_language_to_ui();
        EXPECT_EQ(label(g_hub_chat_title_label), "Club de lectura");
        g_hub_chat_scope_id[0] = '\0';
        apply_language_to_ui();
        EXPECT_EQ(label(g_hub_chat_title_label), tr("hub_chat_default_title"));
    });
}

TEST_F(Relabel, ARoomKeepsItsNameInTheChannelLabel) {
    run_interface([] {
        attach(g_channel_name_label, gtk_label_new("Sala uno"), g_rooms_page);
        copy_text(g_current_room, "Sala uno");
        apply_language_to_ui();
        EXPECT_EQ(label(g_channel_name_label), "Sala uno");
        g_current_room[0] = '\0';
        apply_language_to_ui();
        EXPECT_EQ(label(g_channel_name_label), "General");
    });
}

TEST_F(Relabel, WhileAnAudioTestRunsItsButtonStopsIt) {
    run_interface([] {
        make_missing_widgets();
        g_is_testing_audio = true;
        apply_language_to_ui();
        EXPECT_EQ(button_label(g_test_audio_btn), tr("audio_test_stop"));
    });
}

TEST_F(Relabel, WhileTheNameIsEditedItsButtonSavesIt) {
    run_interface([] {
        make_missing_widgets();
        g_hub_user_name_editing = true;
        apply_language_to_ui();
        EXPECT_EQ(tooltip(g_hub_user_edit_btn), tr("hub_user_save_name"));
    });
}

TEST_F(Relabel, WithoutAnyWidgetNothingHappens) {
    ASSERT_EQ(g_window, nullptr);
    ASSERT_EQ(g_notebook, nullptr);
    apply_language_to_ui();
    keep(g_channel_tab, gtk_label_new("x"));
    const GObjectPtr<GtkWidget> tab(GTK_WIDGET(g_object_ref_sink(g_channel_tab)));
    apply_language_to_ui();
    EXPECT_EQ(g_notebook, nullptr);
}

} // namespace
