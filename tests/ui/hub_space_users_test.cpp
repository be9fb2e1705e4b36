// The column of the selected space's members, and what is remembered of them.
#include "hub_fixture.h"

#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/clock.h"
#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"

#include <cstring>

namespace {

constexpr const char* k_members = "GET /api/spaces/s1/members";

class SpaceUsers : public HubTest {
  protected:
    static HubSpaceUser& add_user(const char* id, const char* username, const char* name = "",
                                  const char* email = "") {
        HubSpaceUser& user = g_hub_space_users[g_hub_space_user_count++];
        user = {};
        copy_text(user.id, id);
        copy_text(user.username, username);
        copy_text(user.displayName, name);
        copy_text(user.email, email);
        return user;
    }

    /// The members of a space, without the backend.
    static void list(const char* space_id) {
        copy_text(g_hub_space_users_space_id, space_id);
        g_hub_space_user_count = 0;
    }

    /// A line for each row: "Name | detail", with " [button]" behind.
    static Texts lines() {
        Texts lines;
        for (GtkWidget* const row : children_of(g_hub_space_users_list)) {
            const Texts texts = label_texts(row);
            GtkWidget* const button = find_widget(row, GTK_TYPE_BUTTON);
            lines.push_back(texts.front() + " | " + texts.back() +
                            (button != nullptr ? " [" + button_label(button) + "]" : ""));
        }
        return lines;
    }

    static Texts refreshed_lines() {
        refresh_hub_space_users_list();
        return lines();
    }

    static void enter_voice_room() {
        g_is_connected = true;
        copy_text(g_hub_presence_room_id, "r1");
    }

    static std::string empty_text() {
        return gtk_widget_get_visible(g_hub_space_users_empty_label) != FALSE
                   ? label(g_hub_space_users_empty_label)
                   : "";
    }
};

TEST_F(SpaceUsers, TheColumnStandsBehindTheChat) {
    run_interface([] {
        show_hub();
        GtkWidget* const column = column_of(g_hub_space_users_list);
        EXPECT_EQ(gtk_widget_get_prev_sibling(column), column_of(g_hub_content_stack));
        int width = 0;
        gtk_widget_get_size_request(column, &width, nullptr);
        EXPECT_EQ(width, 280);
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(column)), 12);
        EXPECT_TRUE(has_class(column, "settings-section"));
        EXPECT_TRUE(has_class(g_hub_space_users_title_label, "settings-option-title"));
        EXPECT_EQ(label(g_hub_space_users_title_label), "Usuarios del espacio");
        EXPECT_TRUE(has_class(g_hub_space_users_empty_label, "settings-option-desc"));
        EXPECT_TRUE(has_class(g_hub_space_users_list, "peer-list"));
        EXPECT_EQ(empty_text(), "Selecciona un espacio o sala para listar usuarios.");
    });
}

TEST_F(SpaceUsers, AMemberHasALineOfTwoTexts) {
    run_interface([] {
        list("s1");
        add_user("u2", "luis", "Luis", "luis@velmo.example");
        add_user("u3", "leo");
        add_user("", "", "", "x@y.z");
        add_user("", "");
        EXPECT_EQ(refreshed_lines(),
                  (Texts{"Luis | luis@velmo.example", "leo | leo", "- | x@y.z", "- | "}));
        EXPECT_EQ(empty_text(), "");
        GtkWidget* const row = children_of(g_hub_space_users_list)[0];
        EXPECT_FALSE(gtk_list_box_row_get_selectable(GTK_LIST_BOX_ROW(row)));
        EXPECT_FALSE(gtk_list_box_row_get_activatable(GTK_LIST_BOX_ROW(row)));
        GtkWidget* const box = gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row));
        EXPECT_TRUE(has_class(box, "peer-item"));
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 3);
        EXPECT_EQ(gtk_widget_get_margin_start(box), 6);
        EXPECT_EQ(gtk_widget_get_margin_end(box), 6);
        EXPECT_EQ(gtk_widget_get_margin_top(box), 3);
        EXPECT_EQ(gtk_widget_get_margin_bottom(box), 3);
        const std::vector<GtkWidget*> parts = children_of(box);
        ASSERT_EQ(parts.size(), 2U);
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(parts[0])), 8);
        EXPECT_TRUE(has_class(gtk_widget_get_first_child(parts[0]), "settings-option-title"));
        EXPECT_TRUE(has_class(parts[1], "settings-option-desc"));
        EXPECT_TRUE(gtk_label_get_wrap(GTK_LABEL(parts[1])));
    });
}

TEST_F(SpaceUsers, TheUserIsFoundByIdElseByAddressElseByName) {
    run_interface([] {
        list("s1");
        add_user("u1", "otra", "Otra", "otra@x.y");
        add_user("", "otra", "Otra", "ANA@Velmo.Example");
        add_user("u9", "ANA", "Otra", "otra@x.y");
        add_user("u9", "otra", "ana", "otra@x.y");
        EXPECT_EQ(refreshed_lines(), (Texts{"ana (Tú) | otra@x.y", "ana (Tú) | ANA@Velmo.Example",
                                            "ana (Tú) | otra@x.y", "ana | otra@x.y"}));
        g_user_id[0] = g_user_email[0] = g_username[0] = '\0'; // unknown is nobody
        list("s1");
        add_user("", "", "Sin nombre", "");
        EXPECT_EQ(refreshed_lines(), Texts{"Sin nombre | "});
    });
}

TEST_F(SpaceUsers, TheAdministratorIsMarkedBehindTheUser) {
    run_interface([] {
        copy_text(add_space("s1", "Uno").adminUserId, "u1");
        list("s1");
        add_user("u1", "ana");
        add_user("u2", "luis");
        EXPECT_EQ(refreshed_lines(), (Texts{"ana (Tú) <Admin> | ana", "luis | luis"}));
        g_language = k_language_english;
        EXPECT_EQ(refreshed_lines()[0], "ana (You) <Admin> | ana");
        copy_text(g_hub_servers[0].adminUserId, "u2");
        EXPECT_EQ(refreshed_lines()[1], "luis <Admin> | luis");
        copy_text(g_hub_servers[0].adminUserId, "U2"); // exactly
        EXPECT_EQ(refreshed_lines()[1], "luis | luis");
        copy_text(g_hub_servers[0].adminUserId, "");
        g_hub_space_users[1].id[0] = '\0';
        EXPECT_EQ(refreshed_lines()[1], "luis | luis");
        list("other");
        add_user("u2", "luis");
        EXPECT_EQ(refreshed_lines(), Texts{"luis | luis"});
    });
}

TEST_F(SpaceUsers, TheShownNameIsTheUsersOwn) {
    run_interface([] {
        copy_text(g_display_name, "Anita");
        list("s1");
        add_user("u1", "ana", "Antes");
        EXPECT_EQ(refreshed_lines(), Texts{"Anita (Tú) | ana"});
    });
}

TEST_F(SpaceUsers, OddNamesAreShownAndCutAtAWholeCharacter) {
    run_interface([] {
        list("s1");
        add_user("u2", "luis", "\xff\xfe roto");
        add_user("u3", "luis", "línea\notra");
        add_user("u4", "luis", "مرحبا");
        add_user("u5", "luis", "🎉👩‍👩‍👧");
        copy_text(g_hub_space_users[0].displayName, std::string(62, 'a') + "ñ"); // cut in two
        EXPECT_EQ(refreshed_lines()[0], std::string(62, 'a') + " | luis");
        for (const std::string& line : lines()) {
            EXPECT_TRUE(g_utf8_validate(line.c_str(), -1, nullptr));
        }
        EXPECT_EQ(lines()[2], "مرحبا | luis");
    });
}

TEST_F(SpaceUsers, TheButtonIsInTheUsersOwnRowWhileInAVoiceRoom) {
    run_interface([] {
        list("s1");
        add_user("u1", "ana");
        add_user("u2", "luis");
        EXPECT_EQ(refreshed_lines(), (Texts{"ana (Tú) | ana", "luis | luis"}));
        g_is_connected = true;
        EXPECT_EQ(refreshed_lines()[0], "ana (Tú) | ana");
        enter_voice_room();
        EXPECT_EQ(refreshed_lines(), (Texts{"ana (Tú) | ana [Compartir pantalla]", "luis | luis"}));
        g_hub_local_streaming = true;
        EXPECT_EQ(refreshed_lines()[0], "ana (Tú) | ana [Detener]");
        g_language = k_language_english;
        apply_language_to_ui();
        EXPECT_EQ(lines()[0], "ana (You) | ana [Stop]");
        GtkWidget* const button =
            find_widget(children_of(g_hub_space_users_list)[0], GTK_TYPE_BUTTON);
        EXPECT_EQ(text_data(button, "stream-user-id"), "__self__");
        EXPECT_TRUE(has_class(button, "suggested-action"));
        g_is_connected = false;
        EXPECT_EQ(refreshed_lines()[0], "ana (You) | ana");
        g_hub_presence_room_id[0] = '\0';
    });
}

TEST_F(SpaceUsers, TheButtonSharesTheScreenAndStopsAndKeepsTheKeyboard) {
    run_interface([] {
        show_hub_of_two_rooms();
        select(1);
        list("s1");
        add_user("u1", "ana");
        enter_voice_room();
        refresh_hub_space_users_list();
        const auto button = [] { return find_widget(g_hub_space_users_list, GTK_TYPE_BUTTON); };
        gtk_widget_grab_focus(button());
        click(button());
        EXPECT_EQ(lines(), Texts{"ana (Tú) | ana [Detener]"});
        EXPECT_EQ(label(g_hub_stream_status_label), "Estás compartiendo tu pantalla.");
        EXPECT_TRUE(holds_keyboard(button()));
        click(button());
        EXPECT_EQ(lines(), Texts{"ana (Tú) | ana [Compartir pantalla]"});
        EXPECT_EQ(label(g_hub_stream_status_label), "No hay stream activo ahora.");
        EXPECT_TRUE(holds_keyboard(button()));
    });
}

TEST_F(SpaceUsers, ASpaceWithoutMembersSaysSo) {
    run_interface([] {
        list("s1");
        refresh_hub_space_users_list();
        EXPECT_EQ(empty_text(), "No se encontraron usuarios en este espacio.");
        list("");
        refresh_hub_space_users_list();
        EXPECT_EQ(empty_text(), "Selecciona un espacio o sala para listar usuarios.");
    });
}

TEST_F(SpaceUsers, ClearingForgetsTheStreamsToo) {
    run_interface([] {
        list("s1");
        add_user("u2", "luis");
        refresh_hub_space_users_list();
        g_hub_local_streaming = true;
        copy_text(g_hub_streaming_user_id, "u2");
        show_hub_stream_view_for_user("u2");
        clear_hub_space_users();
        EXPECT_EQ(lines(), Texts{});
        EXPECT_STREQ(g_hub_space_users_space_id, "");
        EXPECT_FALSE(g_hub_local_streaming);
        EXPECT_STREQ(g_hub_streaming_user_id, "");
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
        EXPECT_STREQ(gtk_stack_get_visible_child_name(GTK_STACK(g_hub_content_stack)),
                     k_hub_chat_page);
    });
}

TEST_F(SpaceUsers, AnotherSpaceAndANewListOfSpacesEmptyIt) {
    answer("GET /api/spaces", 200, R"({"spaces":[]})");
    run_interface([] {
        show_hub_of_two_rooms();
        add_space("s2", "Dos", {"r9:General"});
        refresh_hub_server_list();
        list("s1");
        add_user("u2", "luis");
        refresh_hub_space_users_list();
        select(3);
        ASSERT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(lines(), Texts{});
        list("s2");
        add_user("u2", "luis");
        refresh_hub_space_users_list();
        char error[64] = "";
        backend_load_spaces(error);
        EXPECT_EQ(lines(), Texts{});
    });
}

TEST_F(SpaceUsers, WithoutAListNothingHappens) {
    ASSERT_EQ(g_hub_space_users_list, nullptr);
    list("s1");
    add_user("u1", "ana");
    refresh_hub_space_users_list();
    clear_hub_space_users();
    EXPECT_EQ(g_hub_space_user_count, 0);
}

// --- What is remembered
// ---------------------------------------------------------------------------

TEST_F(SpaceUsers, WhatTheBackendSendsIsShownAndRemembered) {
    answer(k_members, 200,
           R"({"members":[{"id":"u2","username":"luis","displayName":"Luis","email":"l@x.y"}]})");
    run_interface([this] {
        const FakeClock clock;
        show_hub_of_two_rooms();
        sync_hub_space_users_from_room_presence();
        EXPECT_EQ(lines(), Texts{"Luis | l@x.y"});
        EXPECT_EQ(find_space_users_cache_index("s1"), 0);
        EXPECT_EQ(requests(), Texts{k_members});
    });
}

TEST_F(SpaceUsers, AListIsFreshForTwentySeconds) {
    FakeClock clock;
    list("s1");
    add_user("u2", "luis");
    store_current_space_users_in_cache("s1");
    list("");
    clock.advance(20000);
    EXPECT_TRUE(load_space_users_from_cache_if_fresh("s1"));
    EXPECT_EQ(g_hub_space_user_count, 1);
    EXPECT_STREQ(g_hub_space_users_space_id, "s1");
    clock.advance(1);
    list("");
    EXPECT_FALSE(load_space_users_from_cache_if_fresh("s1"));
    EXPECT_EQ(g_hub_space_user_count, 0);
    EXPECT_EQ(find_space_users_cache_index("s1"), 0); // it stays until it is overwritten
}

TEST_F(SpaceUsers, AListWithoutATimeIsNotFresh) {
    const FakeClock clock(5);
    list("s1");
    store_current_space_users_in_cache("s1");
    EXPECT_TRUE(load_space_users_from_cache_if_fresh("s1"));
    g_hub_space_users_cache[0].stored_us = 0;
    EXPECT_FALSE(load_space_users_from_cache_if_fresh("s1"));
}

TEST_F(SpaceUsers, NoSpaceIsNeitherRememberedNorFound) {
    for (const char* const id : {"", static_cast<const char*>(nullptr)}) {
        store_current_space_users_in_cache(id);
        EXPECT_EQ(g_hub_space_users_cache_count, 0);
        EXPECT_EQ(find_space_users_cache_index(id), -1);
        EXPECT_FALSE(load_space_users_from_cache_if_fresh(id));
    }
    store_current_space_users_in_cache("s1");
    EXPECT_EQ(find_space_users_cache_index("S1"), -1);
}

TEST_F(SpaceUsers, AThirtyThirdSpaceTakesTheFirstPlace) {
    const FakeClock clock;
    const auto id = [](int number) { return "s" + std::to_string(number); };
    for (int i = 0; i < 33; ++i) {
        list(id(i).c_str());
        add_user("u2", id(i).c_str());
        store_current_space_users_in_cache(id(i).c_str());
    }
    EXPECT_EQ(g_hub_space_users_cache_count, 32);
    EXPECT_EQ(find_space_users_cache_index("s0"), -1);
    EXPECT_EQ(find_space_users_cache_index("s32"), 0);
    for (int i = 1; i < 33; ++i) {
        ASSERT_TRUE(load_space_users_from_cache_if_fresh(id(i).c_str()));
        EXPECT_EQ(g_hub_space_users[0].username, id(i));
    }
    store_current_space_users_in_cache("s5");
    EXPECT_EQ(g_hub_space_users_cache_count, 32);
}

TEST_F(SpaceUsers, CountsAreClamped) {
    const FakeClock clock;
    list("s1");
    for (int i = 0; i < 256; ++i) {
        add_user(std::to_string(i).c_str(), "x");
    }
    g_hub_space_user_count = 300;
    store_current_space_users_in_cache("s1");
    EXPECT_EQ(g_hub_space_users_cache[0].count, 256);
    g_hub_space_users_cache[0].count = 4000;
    EXPECT_TRUE(load_space_users_from_cache_if_fresh("s1"));
    EXPECT_EQ(g_hub_space_user_count, 256);
    g_hub_space_users_cache[0].count = -7;
    EXPECT_TRUE(load_space_users_from_cache_if_fresh("s1"));
    EXPECT_EQ(g_hub_space_user_count, 0);
}

TEST_F(SpaceUsers, TheCacheOutlivesALogOut) {
    const FakeClock clock;
    list("s1");
    add_user("u2", "luis");
    store_current_space_users_in_cache("s1");
    clear_hub_space_users();
    EXPECT_TRUE(load_space_users_from_cache_if_fresh("s1"));
    EXPECT_EQ(g_hub_space_user_count, 1);
}

// --- The user's own name
// --------------------------------------------------------------------------

TEST_F(SpaceUsers, AnotherNameIsShownAtOnceAndRememberedAnew) {
    run_interface([] {
        FakeClock clock;
        list("s1");
        add_user("u1", "ana", "Antes");
        add_user("u2", "luis", "Luis");
        store_current_space_users_in_cache("s1");
        const std::int64_t before = g_hub_space_users_cache[0].stored_us;
        clock.advance(5000);
        set_display_name_from_raw_input("Anita");
        EXPECT_EQ(lines(), (Texts{"Anita (Tú) | ana", "Luis | luis"}));
        EXPECT_STREQ(g_hub_space_users[0].displayName, "Anita");
        EXPECT_EQ(g_hub_space_users_cache[0].stored_us, before + 5'000'000);
        EXPECT_STREQ(g_hub_space_users_cache[0].users[0].displayName, "Anita");
        clock.advance(5000);
        set_display_name_from_raw_input("Anita"); // as before
        EXPECT_EQ(g_hub_space_users_cache[0].stored_us, before + 5'000'000);
    });
}

TEST_F(SpaceUsers, AnotherNameOfSomebodyWhoIsNotListedChangesNothing) {
    run_interface([] {
        set_display_name_from_raw_input("Anita");
        EXPECT_EQ(g_hub_space_users_cache_count, 0);
        list("s1");
        add_user("u2", "luis", "Luis");
        set_display_name_from_raw_input("Ana");
        EXPECT_EQ(refreshed_lines(), Texts{"Luis | luis"});
        EXPECT_EQ(g_hub_space_users_cache_count, 0);
    });
}

} // namespace
