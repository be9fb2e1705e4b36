// The user's display name and its editing in the hub, and the columns around it.
#include "hub_fixture.h"

#include "backend/identity.h"
#include "base/glib_owner.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"

namespace {

class HubProfile : public HubTest {
  protected:
    static bool is_shown(GtkWidget* widget) { return gtk_widget_get_visible(widget) != FALSE; }

    static void make_display_name_field() {
        attach(g_hub_display_name_entry, gtk_entry_new(), g_hub_page);
    }

    static void make_room_label() {
        if (g_user_label == nullptr) {
            attach(g_user_label, gtk_label_new(""), g_main_page);
        }
    }
};

TEST_F(HubProfile, ANameIsStoredWithoutBlanksAndAccentsShownAndSaved) {
    run_interface([] {
        make_room_label();
        make_display_name_field();
        set_display_name_from_raw_input("José María");
        EXPECT_STREQ(g_display_name, "JosMara");
        EXPECT_EQ(label(g_hub_user_name_label), "JosMara");
        EXPECT_EQ(label(g_user_label), "JosMara");
        EXPECT_EQ(typed(g_hub_display_name_entry), "JosMara");
        EXPECT_NE(settings_file().find("JosMara"), std::string::npos);
    });
}

TEST_F(HubProfile, ANameOfWhichNothingIsLeftFallsBackToTheUserName) {
    run_interface([] {
        for (const char* const text : {"ñ ñ", "", static_cast<const char*>(nullptr)}) {
            copy_text(g_display_name, "Anita");
            set_display_name_from_raw_input(text);
            EXPECT_STREQ(g_display_name, "");
            EXPECT_EQ(label(g_hub_user_name_label), "ana");
        }
        g_username[0] = '\0';
        set_display_name_from_raw_input("");
        EXPECT_EQ(label(g_hub_user_name_label), "-");
    });
}

TEST_F(HubProfile, EditingPutsAFieldInTheNamesPlace) {
    run_interface([] {
        show_hub();
        EXPECT_FALSE(is_shown(g_hub_user_name_entry));
        EXPECT_EQ(gtk_entry_get_max_length(GTK_ENTRY(g_hub_user_name_entry)), 32);
        EXPECT_EQ(tooltip(g_hub_user_edit_btn), tr("hub_user_edit_name"));
        click(g_hub_user_edit_btn);
        EXPECT_TRUE(g_hub_user_name_editing);
        EXPECT_FALSE(is_shown(g_hub_user_name_label));
        EXPECT_TRUE(is_shown(g_hub_user_name_entry));
        EXPECT_EQ(typed(g_hub_user_name_entry), "ana");
        EXPECT_TRUE(holds_keyboard(g_hub_user_name_entry));
        int start = 0;
        int end = 0;
        EXPECT_TRUE(
            gtk_editable_get_selection_bounds(GTK_EDITABLE(g_hub_user_name_entry), &start, &end));
        EXPECT_EQ(start, 0);
        EXPECT_EQ(end, 3);
        EXPECT_EQ(tooltip(g_hub_user_edit_btn), tr("hub_user_save_name"));
    });
}

TEST_F(HubProfile, TheButtonFinishesTheEditAndDoesNotBeginAnother) {
    run_interface([] {
        make_display_name_field();
        show_hub();
        click(g_hub_user_edit_btn);
        type(g_hub_user_name_entry, "Ani ta");
        // A click leaves the keyboard in the field; else it would finish, and the click begin.
        EXPECT_FALSE(gtk_widget_get_focus_on_click(g_hub_user_edit_btn));
        click(g_hub_user_edit_btn);
        EXPECT_FALSE(g_hub_user_name_editing);
        EXPECT_STREQ(g_display_name, "Anita");
        EXPECT_TRUE(is_shown(g_hub_user_name_label));
        EXPECT_FALSE(is_shown(g_hub_user_name_entry));
        EXPECT_EQ(label(g_hub_user_name_label), "Anita");
        EXPECT_EQ(typed(g_hub_display_name_entry), "Anita");
        EXPECT_EQ(tooltip(g_hub_user_edit_btn), tr("hub_user_edit_name"));
        EXPECT_EQ(keyboard(), g_hub_user_edit_btn);
    });
}

TEST_F(HubProfile, EnterFinishesTheEdit) {
    run_interface([] {
        show_hub();
        click(g_hub_user_edit_btn);
        type(g_hub_user_name_entry, "Anita");
        press_enter(g_hub_user_name_entry);
        EXPECT_FALSE(g_hub_user_name_editing);
        EXPECT_STREQ(g_display_name, "Anita");
        EXPECT_EQ(keyboard(), g_hub_user_edit_btn);
    });
}

TEST_F(HubProfile, GoingElsewhereFinishesTheEditAndStaysThere) {
    run_interface([] {
        add_space("s1", "Uno");
        show_hub();
        // Else the edit would end as soon as the window manager has its say.
        wait_until([] { return gtk_window_is_active(GTK_WINDOW(g_window)) != FALSE; });
        click(g_hub_user_edit_btn);
        type(g_hub_user_name_entry, "Anita");
        gtk_widget_grab_focus(rows().at(0));
        wait_until([] { return !g_hub_user_name_editing; });
        EXPECT_STREQ(g_display_name, "Anita");
        EXPECT_FALSE(is_shown(g_hub_user_name_entry));
        EXPECT_EQ(keyboard(), rows().at(0));
    });
}

TEST_F(HubProfile, AnEditOfWhichNothingIsLeftShowsTheUserName) {
    run_interface([] {
        copy_text(g_display_name, "Anita");
        show_hub();
        click(g_hub_user_edit_btn);
        type(g_hub_user_name_entry, " ¡! ");
        click(g_hub_user_edit_btn);
        EXPECT_STREQ(g_display_name, "");
        EXPECT_EQ(label(g_hub_user_name_label), "ana");
    });
}

TEST_F(HubProfile, WhileEditedTheDisplayNameFieldStays) {
    run_interface([] {
        make_display_name_field();
        show_hub();
        click(g_hub_user_edit_btn);
        type(g_hub_display_name_entry, "otro");
        set_display_name_from_raw_input("Anita");
        EXPECT_EQ(typed(g_hub_display_name_entry), "otro");
    });
}

TEST_F(HubProfile, WithoutTheFieldNothingIsEdited) {
    begin_hub_user_name_edit();
    finish_hub_user_name_edit();
    on_hub_user_edit_clicked(nullptr, nullptr);
    EXPECT_FALSE(g_hub_user_name_editing);
    EXPECT_EQ(settings_file(), "");
}

TEST_F(HubProfile, AnUnfinishedEditEndsWithTheWindow) {
    run_interface([] {
        show_hub();
        click(g_hub_user_edit_btn);
    });
    run_interface([] {
        EXPECT_FALSE(g_hub_user_name_editing);
        EXPECT_FALSE(is_shown(g_hub_user_name_entry));
        EXPECT_TRUE(is_shown(g_hub_user_name_label));
    });
}

// --- The columns ---

TEST_F(HubProfile, IconButtonsSayWhatTheyDo) {
    run_interface([] {
        struct Expected {
            GtkWidget* button;
            const char* icon;
            const char* css_class;
            const char* key;
            bool sensitive;
        };
        const Expected expected[] = {
            {g_hub_user_edit_btn, "document-edit-symbolic", "flat", "hub_user_edit_name", true},
            {g_hub_pending_invites_btn, "preferences-system-notifications-symbolic", "btn-primary",
             "hub_pending_invites_tooltip", false},
            {g_hub_invite_space_code_btn, "mail-send-symbolic", "btn-primary",
             "hub_invite_space_code_btn", false},
            {g_hub_add_space_action_btn, nullptr, "btn-primary", "hub_create_or_join_btn", true},
        };
        for (const Expected& one : expected) {
            EXPECT_STREQ(gtk_button_get_icon_name(GTK_BUTTON(one.button)), one.icon);
            EXPECT_TRUE(has_class(one.button, one.css_class)) << one.key;
            expect_tooltip_and_name(one.button, tr(one.key));
            EXPECT_EQ(gtk_widget_get_sensitive(one.button) != FALSE, one.sensitive) << one.key;
        }
        EXPECT_EQ(button_label(g_hub_add_space_action_btn), "+");
    });
}

TEST_F(HubProfile, AtTheStartTheChatSaysThatNoneIsSelected) {
    run_interface([] {
        EXPECT_EQ(label(g_hub_chat_title_label), tr("hub_chat_default_title"));
        EXPECT_EQ(label_texts(g_hub_chat_list), (Texts{"-", tr("hub_chat_empty")}));
    });
}

TEST_F(HubProfile, WithoutAChatItsNoticeChangesWithTheLanguage) {
    run_interface([] {
        g_language = k_language_english;
        apply_language_to_ui();
        EXPECT_EQ(label(g_hub_chat_title_label), tr("hub_chat_default_title"));
        EXPECT_EQ(label_texts(g_hub_chat_list), (Texts{"-", tr("hub_chat_empty")}));
        copy_text(g_hub_chat_scope_id, "s1");
        show_hub_chat_notice("de antes");
        g_language = k_language_spanish;
        apply_language_to_ui();
        EXPECT_EQ(label_texts(g_hub_chat_list), (Texts{"-", "de antes"}));
    });
}

} // namespace
