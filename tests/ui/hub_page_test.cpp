// The hub: who is signed in, and the list of spaces.
#include "interface_fixture.h"

#include "backend/identity.h"
#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"

namespace {

class HubPage : public InterfaceTest {};

TEST_F(HubPage, HoldsANotebookWithTheSpacesTab) {
    run_interface([] {
        EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(g_hub_page)),
                  GTK_ORIENTATION_VERTICAL);
        EXPECT_TRUE(gtk_widget_get_hexpand(g_hub_page));
        EXPECT_TRUE(gtk_widget_get_vexpand(g_hub_page));
        ASSERT_EQ(children_of(g_hub_page), std::vector<GtkWidget*>{g_hub_notebook});
        GtkNotebook* const notebook = GTK_NOTEBOOK(g_hub_notebook);
        EXPECT_EQ(gtk_notebook_get_tab_pos(notebook), GTK_POS_TOP);
        GtkWidget* const tab = gtk_notebook_get_nth_page(notebook, 0);
        EXPECT_TRUE(GTK_IS_SCROLLED_WINDOW(tab));
        EXPECT_EQ(gtk_notebook_get_tab_label(notebook, tab), g_hub_tab_label);
        EXPECT_EQ(label(g_hub_tab_label), tr("tab_spaces"));
    });
}

TEST_F(HubPage, UserColumnNamesTheHubAndTheUser) {
    run_interface([] {
        GtkWidget* const column = column_of(g_hub_title_label);
        ASSERT_NE(column, nullptr);
        int width = 0;
        gtk_widget_get_size_request(column, &width, nullptr);
        EXPECT_EQ(width, 280);
        EXPECT_EQ(label_texts(column), (Texts{tr("hub_title"), tr("hub_subtitle"), "-", "-"}));
        EXPECT_TRUE(has_class(g_hub_title_label, "settings-title"));
        EXPECT_TRUE(has_class(g_hub_subtitle_label, "settings-description"));
        EXPECT_TRUE(has_class(g_hub_user_name_label, "hub-user-name"));
        EXPECT_TRUE(has_class(g_hub_user_email_label, "hub-user-email"));
        GtkWidget* const user = gtk_widget_get_parent(g_hub_user_name_label);
        EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(user)), GTK_ORIENTATION_HORIZONTAL);
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(user)), 6);
        EXPECT_EQ(children_of(user),
                  (std::vector<GtkWidget*>{g_hub_user_name_label, g_hub_user_name_entry,
                                           g_hub_user_edit_btn, g_hub_pending_invites_btn}));
    });
}

TEST_F(HubPage, SpacesColumnHoldsTitleListAndEmptyBox) {
    run_interface([] {
        GtkWidget* const column = column_of(g_servers_list);
        ASSERT_NE(column, nullptr);
        int width = 0;
        gtk_widget_get_size_request(column, &width, nullptr);
        EXPECT_EQ(width, 360);
        EXPECT_EQ(gtk_widget_get_next_sibling(column_of(g_hub_title_label)), column);
        const std::vector<GtkWidget*> parts = children_of(column);
        ASSERT_EQ(parts.size(), 3U);
        EXPECT_EQ(label_texts(parts[0]), (Texts{tr("hub_spaces_available"), "+"}));
        EXPECT_EQ(children_of(parts[0]),
                  (std::vector<GtkWidget*>{g_hub_spaces_title_label, g_hub_add_space_action_btn,
                                           g_hub_invite_space_code_btn}));
        EXPECT_EQ(gtk_widget_get_next_sibling(column), column_of(g_hub_chat_list));
        EXPECT_TRUE(has_class(children_of(parts[0]).at(0), "settings-option-title"));
        EXPECT_TRUE(gtk_widget_is_ancestor(g_servers_list, parts[1]));
        EXPECT_TRUE(GTK_IS_SCROLLED_WINDOW(parts[1]));
        EXPECT_EQ(parts[2], g_empty_spaces_box);
        EXPECT_TRUE(has_class(g_empty_spaces_box, "settings-section"));
        EXPECT_EQ(label_texts(g_empty_spaces_box), Texts{tr("hub_empty_spaces")});
        GtkListBox* const list = GTK_LIST_BOX(g_servers_list);
        EXPECT_TRUE(has_class(g_servers_list, "peer-list"));
        EXPECT_EQ(gtk_list_box_get_selection_mode(list), GTK_SELECTION_SINGLE);
        EXPECT_FALSE(gtk_list_box_get_activate_on_single_click(list));
        EXPECT_TRUE(gtk_test_accessible_has_relation(GTK_ACCESSIBLE(g_servers_list),
                                                     GTK_ACCESSIBLE_RELATION_LABELLED_BY));
    });
}

TEST_F(HubPage, WithoutSpacesTheEmptyBoxShowsAndWithSpacesItDoesNot) {
    run_interface([] {
        EXPECT_TRUE(gtk_widget_get_visible(g_empty_spaces_box));
        add_space("s1", "Uno");
        refresh_hub_server_list();
        EXPECT_FALSE(gtk_widget_get_visible(g_empty_spaces_box));
        g_hub_server_count = 0;
        refresh_hub_server_list();
        EXPECT_TRUE(gtk_widget_get_visible(g_empty_spaces_box));
        EXPECT_TRUE(rows().empty());
    });
}

TEST_F(HubPage, EachSpaceIsARowInTheOrderOfTheTable) {
    run_interface([] {
        add_space("s1", "Uno");
        make_invitation(add_space("s2", "Dos"), "");
        refresh_hub_server_list();
        ASSERT_EQ(rows().size(), 2U);
        struct Expected {
            int index;
            const char* id;
            const char* name;
            Texts texts;
        };
        const Expected expected[] = {
            {1, "s1", "Uno", {"Uno"}},
            {2, "s2", "Dos", {"Dos", "Invitación pendiente"}},
        };
        for (std::size_t i = 0; i < 2; ++i) {
            GtkWidget* const row = rows()[i];
            EXPECT_EQ(label_texts(row), expected[i].texts);
            EXPECT_EQ(index_data(row, "space-index"), expected[i].index);
            EXPECT_EQ(index_data(row, "room-index"), 0);
            EXPECT_EQ(text_data(row, "chat-scope-type"), "space");
            EXPECT_EQ(text_data(row, "chat-scope-id"), expected[i].id);
            EXPECT_EQ(text_data(row, "chat-title"), expected[i].name);
            EXPECT_TRUE(gtk_list_box_row_get_selectable(GTK_LIST_BOX_ROW(row)));
            EXPECT_TRUE(gtk_list_box_row_get_activatable(GTK_LIST_BOX_ROW(row)));
        }
    });
}

TEST_F(HubPage, ARowShowsThumbnailNameAndInvitation) {
    run_interface([] {
        make_invitation(add_space("s1", "Uno"), "");
        refresh_hub_server_list();
        GtkWidget* const box = gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(rows().at(0)));
        EXPECT_TRUE(has_class(box, "peer-item"));
        EXPECT_TRUE(has_class(box, "hub-space-row"));
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 10);
        EXPECT_EQ(gtk_widget_get_margin_start(box), 8);
        EXPECT_EQ(gtk_widget_get_margin_end(box), 8);
        EXPECT_EQ(gtk_widget_get_margin_top(box), 2);
        EXPECT_EQ(gtk_widget_get_margin_bottom(box), 2);

        const std::vector<GtkWidget*> parts = children_of(box);
        ASSERT_EQ(parts.size(), 2U);
        ASSERT_TRUE(GTK_IS_IMAGE(parts[0]));
        EXPECT_EQ(gtk_image_get_pixel_size(GTK_IMAGE(parts[0])), 36);
        EXPECT_EQ(gtk_widget_get_valign(parts[0]), GTK_ALIGN_START);
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(parts[1])), 4);
        EXPECT_TRUE(gtk_widget_get_hexpand(parts[1]));
        const std::vector<GtkWidget*> texts = children_of(parts[1]);
        ASSERT_EQ(texts.size(), 2U);
        for (GtkWidget* text : texts) {
            EXPECT_EQ(gtk_widget_get_halign(text), GTK_ALIGN_START);
        }
        EXPECT_TRUE(has_class(texts[0], "settings-option-title"));
        EXPECT_TRUE(has_class(texts[0], "hub-space-title"));
        EXPECT_TRUE(has_class(texts[1], "settings-option-desc"));
    });
}

TEST_F(HubPage, OnlyAnInvitationThatIsPendingIsCalledSo) {
    run_interface([] {
        copy_text(add_space("s1", "Uno").invitationStatus, "pending");
        HubSpace& accepted = add_space("s2", "Dos");
        copy_text(accepted.role, "invited");
        copy_text(accepted.invitationStatus, "accepted");
        refresh_hub_server_list();
        EXPECT_EQ(label_texts(g_servers_list), (Texts{"Uno", "Dos"}));
    });
}

TEST_F(HubPage, ThePendingInvitationIsNamedInSpanishInEnglishToo) {
    g_language = k_language_english;
    run_interface([] {
        make_invitation(add_space("s1", "One"), "");
        refresh_hub_server_list();
        EXPECT_EQ(label_texts(g_servers_list), (Texts{"One", "Invitación pendiente"}));
    });
}

TEST_F(HubPage, RebuildingKeepsTheSelectedSpaceAndDropsOneThatIsGone) {
    run_interface([] {
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        g_selected_server_index = 1;
        refresh_hub_server_list();
        EXPECT_EQ(selected_row(), rows().at(1));
        refresh_hub_server_list();
        EXPECT_EQ(rows().size(), 2U);
        EXPECT_EQ(selected_row(), rows().at(1));
        for (const int gone : {2, -1}) {
            g_selected_server_index = gone;
            refresh_hub_server_list();
            EXPECT_EQ(selected_row(), nullptr);
        }
    });
}

TEST_F(HubPage, NamesOfOddBytesAndMarkupShowAsText) {
    run_interface([] {
        add_space("s1", "<b>A&B</b>\xC3(");
        refresh_hub_server_list();
        EXPECT_EQ(label_texts(g_servers_list), Texts{"<b>A&B</b>\uFFFD("});
    });
}

TEST_F(HubPage, AFullTableOfLongNamesFitsANarrowWindow) {
    run_interface([] {
        for (std::int32_t i = 0; i < k_max_hub_spaces; ++i) {
            add_space(std::to_string(i), std::string(63, 'M'));
        }
        refresh_hub_server_list();
        EXPECT_EQ(rows().size(), 32U);
        int minimum = 0;
        gtk_widget_measure(g_main_stack, GTK_ORIENTATION_HORIZONTAL, -1, &minimum, nullptr, nullptr,
                           nullptr);
        EXPECT_LE(minimum, 500);
        gtk_widget_measure(g_main_stack, GTK_ORIENTATION_VERTICAL, -1, &minimum, nullptr, nullptr,
                           nullptr);
        EXPECT_LE(minimum, 400);
    });
}

TEST_F(HubPage, ShownNameIsTheChosenOneElseTheUserNameElseADash) {
    EXPECT_STREQ(get_shown_display_name(), "-");
    copy_text(g_username, "ana");
    EXPECT_STREQ(get_shown_display_name(), "ana");
    copy_text(g_display_name, "Anita");
    EXPECT_STREQ(get_shown_display_name(), "Anita");
}

TEST_F(HubPage, ProfileShowsNameAndEmailOrDashes) {
    run_interface([] {
        copy_text(g_username, "ana");
        copy_text(g_user_email, "ana@velmo.example");
        refresh_hub_user_profile();
        EXPECT_EQ(label(g_hub_user_name_label), "ana");
        EXPECT_EQ(label(g_hub_user_email_label), "ana@velmo.example");
        g_username[0] = g_user_email[0] = '\0';
        refresh_hub_user_profile();
        EXPECT_EQ(label(g_hub_user_name_label), "-");
        EXPECT_EQ(label(g_hub_user_email_label), "-");
    });
}

TEST_F(HubPage, SwitchingToItShowsTheSpacesTabTheProfileAndGivesTheListTheKeyboard) {
    run_interface([] {
        gtk_notebook_append_page(GTK_NOTEBOOK(g_hub_notebook), gtk_label_new("x"), nullptr);
        gtk_notebook_set_current_page(GTK_NOTEBOOK(g_hub_notebook), 1);
        copy_text(g_username, "ana");
        switch_to_hub_page();
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(g_hub_notebook)), 0);
        EXPECT_EQ(label(g_hub_user_name_label), "ana");
        EXPECT_EQ(keyboard(), g_servers_list);
        wait_for_pictures();
        wait_for_page();
        run_pending();
        EXPECT_EQ(keyboard(), g_servers_list);
    });
}

TEST_F(HubPage, TheFirstOrSelectedSpaceHasTheKeyboardAndKeepsIt) {
    run_interface([] {
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        refresh_hub_server_list();
        switch_to_hub_page();
        EXPECT_EQ(keyboard(), rows().at(0));
        gtk_window_set_focus(GTK_WINDOW(g_window), nullptr);
        g_selected_server_index = 1;
        refresh_hub_server_list();
        focus_spaces_list();
        EXPECT_EQ(keyboard(), rows().at(1));
        gtk_widget_grab_focus(rows().at(0));
        note_message_closed();
        restore_main_window_focus_idle(nullptr);
        EXPECT_EQ(keyboard(), rows().at(0));
        gtk_widget_grab_focus(g_hub_chat_input_view);
        restore_main_window_focus_retry(GINT_TO_POINTER(1));
        EXPECT_EQ(keyboard(), rows().at(1));
    });
}

TEST_F(HubPage, WithoutSpacesTheListItselfHasTheKeyboard) {
    run_interface([] {
        refresh_hub_server_list();
        switch_to_hub_page();
        EXPECT_EQ(keyboard(), g_servers_list);
        gtk_widget_grab_focus(g_hub_add_space_action_btn);
        note_message_closed();
        restore_main_window_focus_idle(nullptr);
        EXPECT_EQ(keyboard(), g_servers_list);
        add_space("s1", "Uno");
        refresh_hub_server_list();
        EXPECT_TRUE(gtk_widget_grab_focus(rows().at(0)));
    });
}

TEST_F(HubPage, LongNamesLeaveTheUsersColumnItsWidth) {
    run_interface([] {
        copy_text(g_username, std::string(63, 'W').c_str());
        copy_text(g_user_email, (std::string(100, 'm') + "@velmo.example").c_str());
        switch_to_hub_page();
        wait_until([] { return gtk_widget_get_width(column_of(g_hub_title_label)) > 0; });
        wait_for_pictures();
        EXPECT_EQ(gtk_widget_get_width(column_of(g_hub_title_label)), 280);
        EXPECT_TRUE(tells_cut_text(g_hub_user_name_label));
        EXPECT_TRUE(tells_cut_text(g_hub_user_email_label));
    });
}

TEST_F(HubPage, SwitchingToItFillsAnEmptyDisplayNameField) {
    run_interface([] {
        copy_text(g_username, "ana");
        attach(g_hub_display_name_entry, gtk_entry_new(), g_hub_page);
        switch_to_hub_page();
        EXPECT_EQ(typed(g_hub_display_name_entry), "ana");
        copy_text(g_display_name, "Anita");
        switch_to_hub_page();
        EXPECT_EQ(typed(g_hub_display_name_entry), "ana");
    });
}

TEST_F(HubPage, WithoutAListNothingHappens) {
    ASSERT_EQ(g_servers_list, nullptr);
    refresh_hub_server_list();
    update_hub_empty_state();
    refresh_hub_user_profile();
    EXPECT_EQ(g_servers_list, nullptr);
}

} // namespace
