// Logging out: the question, what is left, and what whoever signs in next sees.
#include "settings_fixture.h"

#include "audio/audio_engine.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/settings/settings_internal.h"
#include "voice/voice_connection.h"

namespace {

class LogOut : public SettingsTest {
  protected:
    LogOut() {
        add_microphones({"Uno"});
        add_loudspeakers({"A"});
        copy_text(g_display_name, "Anita");
    }
};

// Not before the start, which would ask for it.
void keep_session() {
    write_session_file("backend_url=http://b\nusername=ana\nsession_token=tok\n");
}

GtkWidget* dialog_button(GtkWindow* dialog, const char* text) {
    std::vector<GtkWidget*> left{GTK_WIDGET(dialog)};
    while (!left.empty()) {
        GtkWidget* const widget = left.back();
        left.pop_back();
        if (GTK_IS_BUTTON(widget) && button_label(widget) == text) {
            return widget;
        }
        for (GtkWidget* const child : children_of(widget)) {
            left.push_back(child);
        }
    }
    return nullptr;
}

void answer_question(const char* text) {
    click(g_logout_btn);
    GtkWindow* const dialog = wait_for_dialog();
    ASSERT_NE(dialog, nullptr);
    GtkWidget* const button = dialog_button(dialog, text);
    ASSERT_NE(button, nullptr) << text;
    click(button);
    wait_until([] { return find_dialog() == nullptr; });
}

TEST_F(LogOut, AsksFirst) {
    run_on_settings([] {
        click(g_logout_btn);
        GtkWindow* const dialog = wait_for_dialog();
        ASSERT_NE(dialog, nullptr);
        EXPECT_TRUE(gtk_window_get_modal(dialog));
        EXPECT_NE(dialog_button(dialog, "No"), nullptr);
        EXPECT_NE(dialog_button(dialog, "Sí"), nullptr);
        EXPECT_EQ(gtk_window_get_default_widget(dialog), dialog_button(dialog, "No"));
        EXPECT_EQ(take_alert_texts(),
                  (AlertTexts{"Cerrar sesión", "¿Deseas cerrar la sesión actual?"}));
        EXPECT_STREQ(g_session_token, "tok");
    });
}

TEST_F(LogOut, NoAndClosingTheQuestionChangeNothing) {
    run_on_settings([] {
        keep_session();
        gtk_widget_grab_focus(g_logout_btn);
        answer_question("No");
        click(g_logout_btn);
        close_dialog(wait_for_dialog());
        EXPECT_STREQ(g_session_token, "tok");
        EXPECT_NE(session_file(), "");
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(keyboard(), g_logout_btn);
        EXPECT_EQ(journal(), Texts{});
    });
}

TEST_F(LogOut, YesLeavesEverything) {
    run_on_settings([] {
        keep_session();
        g_language = k_language_english;
        answer_question("Yes");
        EXPECT_EQ(visible_page(), "login");
        EXPECT_EQ(session_file(), "");
        EXPECT_EQ(journal(), Texts{"leave"});
    });
}

TEST_F(LogOut, WithoutAWindowItIsDoneAtOnce) {
    keep_session();
    on_logout_clicked(nullptr, nullptr);
    EXPECT_STREQ(g_session_token, "");
    EXPECT_EQ(session_file(), "");
}

TEST_F(LogOut, TheRoomTheVoiceTheChatAndTheSoundAreLeft) {
    answer_voice();
    play_core();
    run_on_settings([this] {
        show_hub_of_two_rooms();
        activate(1);
        wait_until([] { return g_is_connected; });
        ASSERT_EQ(Audio_Start(), 1);
        static bool g_was_connected_at_leave = false;
        static bool g_was_present_at_leave = true;
        GUI_SetLeaveRoomCallback([] {
            g_was_connected_at_leave = Network_IsConnected() != 0;
            g_was_present_at_leave = g_hub_presence_room_id[0] != '\0';
        });
        perform_logout();
        EXPECT_TRUE(g_was_connected_at_leave); // told before the connection goes
        EXPECT_FALSE(g_was_present_at_leave);
        EXPECT_FALSE(Network_IsConnected());
        EXPECT_FALSE(chat_ws_connection_is_usable());
        EXPECT_EQ(Audio_IsRunning(), 0);
        EXPECT_EQ(voice_journal().back(), "disconnect");
    });
}

TEST_F(LogOut, AllThatWasKnownIsForgotten) {
    run_on_settings([] {
        show_hub_of_two_rooms();
        be_in_room("r1", {make_peer("luis")});
        GUI_UpdateConnectionState(3);
        g_is_muted = g_is_deafened = g_was_speaking = g_is_speaking = true;
        GUI_UpdateAudioLevel(0.7F);
        copy_text(g_current_room, "Uno");
        GUI_AddChatMessage("luis", "hola");
        GUI_AddSystemMessage("x");
        perform_logout();
        EXPECT_FALSE(g_is_connected || g_is_muted || g_is_deafened || g_is_testing_audio ||
                     g_was_speaking || g_is_speaking);
        EXPECT_EQ(g_state, 0);
        EXPECT_EQ(g_audio_level.load(), 0.0F);
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_EQ(g_selected_room_index, -1);
        EXPECT_EQ(g_hub_server_count, 0);
        EXPECT_EQ(g_hub_room_count, 0);
        EXPECT_STREQ(g_selected_space_id, "");
        EXPECT_STREQ(g_current_room, "general");
        EXPECT_EQ(gtk_widget_get_first_child(g_peers_list), nullptr);
        EXPECT_EQ(contents(g_chat_buffer), "");
        for (const char* const text :
             {g_session_token, g_username, g_user_email, g_user_id, g_display_name}) {
            EXPECT_STREQ(text, "");
        }
        EXPECT_EQ(list_lines(), Texts{});
        EXPECT_EQ(children_of(g_rooms_list), std::vector<GtkWidget*>{});
    });
}

TEST_F(LogOut, TheListeningTestEnds) {
    run_on_settings([] {
        click(g_test_audio_btn);
        perform_logout();
        EXPECT_FALSE(g_is_testing_audio);
        EXPECT_FALSE(has_class(g_test_audio_btn, "testing"));
        EXPECT_EQ(button_label(g_test_audio_btn), "🎤 Iniciar Prueba de Audio");
        EXPECT_EQ(journal(), (Texts{"loopback on", "leave", "loopback off"}));
    });
}

TEST_F(LogOut, TheFieldsAreEmpty) {
    run_on_settings([] {
        type(g_username_entry, "ana@velmo.example");
        type(g_password_entry, "secreto");
        perform_logout();
        EXPECT_EQ(typed(g_username_entry), "");
        EXPECT_EQ(typed(g_password_entry), "");
        EXPECT_TRUE(holds_keyboard(g_username_entry));
    });
}

TEST_F(LogOut, WhoeverSignsInNextSeesNothingOfIt) {
    run_on_settings([] {
        show_hub_of_two_rooms();
        select(0);
        append_hub_chat_row("luis", "secreto", nullptr);
        copy_text(g_hub_streaming_user_id, "u2");
        show_hub_stream_view_for_user("u2");
        gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(g_hub_chat_input_view)),
                                 "borrador", -1);
        type(g_chat_entry, "borrador");
        perform_logout();
        EXPECT_EQ(label_texts(g_hub_chat_list), (Texts{"-", "Aún no hay mensajes."}));
        EXPECT_EQ(label(g_hub_chat_title_label), "Selecciona un espacio o sala");
        EXPECT_EQ(label(g_hub_stream_status_label), "No hay stream activo ahora.");
        EXPECT_STREQ(gtk_stack_get_visible_child_name(GTK_STACK(g_hub_content_stack)),
                     k_hub_chat_page);
        EXPECT_EQ(contents(gtk_text_view_get_buffer(GTK_TEXT_VIEW(g_hub_chat_input_view))), "");
        EXPECT_EQ(typed(g_chat_entry), "");

        copy_text(g_username, "marta");
        copy_text(g_user_email, "marta@velmo.example");
        switch_to_hub_page();
        EXPECT_EQ(label(g_hub_user_name_label), "marta");
        EXPECT_EQ(label(g_hub_user_email_label), "marta@velmo.example");
    });
}

} // namespace
