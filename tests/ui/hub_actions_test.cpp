// What can be done with a space: the buttons, the predicates, and the handlers for invitations and
// codes. The handlers are called as a control would, for no page attaches them yet.
#include "hub_fixture.h"

#include "backend/identity.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"

#include <string>

namespace {

constexpr const char* k_accept = "POST /api/spaces/invitations/i1/accept";
constexpr const char* k_decline = "POST /api/spaces/invitations/i1/decline";
constexpr const char* k_join = "POST /api/spaces/join-by-code";
constexpr const char* k_spaces = "GET /api/spaces";
constexpr const char* k_two_spaces =
    R"({"spaces":[{"id":"s0","name":"Cero"},{"id":"s1","name":"Uno"}]})";

class HubActions : public HubTest {
  protected:
    /// Makes those controls that no page builds; they live as long as the window.
    static void make_controls() {
        for (GtkWidget** const slot :
             {&g_connect_server_btn, &g_invite_user_btn, &g_accept_invite_btn,
              &g_decline_invite_btn, &g_join_code_btn}) {
            attach(*slot, gtk_button_new_with_label("x"), g_hub_page);
        }
        for (GtkWidget** const slot : {&g_invite_user_entry, &g_invite_code_entry}) {
            attach(*slot, gtk_entry_new(), g_hub_page);
        }
    }

    /// Which of enter, invite, accept, decline, show code and pending invitations can be used.
    static std::string usable() {
        std::string letters;
        const std::pair<char, GtkWidget*> buttons[] = {
            {'e', g_connect_server_btn},        {'i', g_invite_user_btn},
            {'a', g_accept_invite_btn},         {'d', g_decline_invite_btn},
            {'c', g_hub_invite_space_code_btn}, {'p', g_hub_pending_invites_btn}};
        for (const auto& [letter, button] : buttons) {
            letters += gtk_widget_get_sensitive(button) != FALSE ? letter : '-';
        }
        return letters;
    }

    static std::string usable_with(std::int32_t selected) {
        g_selected_server_index = selected;
        update_hub_space_actions();
        return usable();
    }
};

TEST_F(HubActions, WithoutSpacesNothingCanBeDone) {
    run_interface([] {
        make_controls();
        refresh_hub_server_list();
        EXPECT_EQ(usable(), "------");
        EXPECT_TRUE(gtk_widget_get_visible(g_empty_spaces_box));
    });
}

TEST_F(HubActions, WhatCanBeDoneDependsOnTheSelectedSpace) {
    run_interface([] {
        make_controls();
        add_space("s1", "Uno");
        copy_text(add_space("s2", "Dos").inviteCode, "CODE");
        HubSpace& invited = add_space("s3", "Tres");
        make_invitation(invited, "i1");
        copy_text(invited.inviteCode, "CODE");
        make_invitation(add_space("s4", "Sin número"), "");
        EXPECT_EQ(usable_with(-1), "-----p");
        EXPECT_EQ(usable_with(0), "ei---p");
        EXPECT_EQ(usable_with(1), "ei--cp");
        EXPECT_EQ(usable_with(2), "-iad-p");
        EXPECT_EQ(usable_with(3), "ei---p");
        EXPECT_EQ(usable_with(4), "-----p");
    });
}

TEST_F(HubActions, PendingInvitationsAreCountedOnTheirButton) {
    run_interface([] {
        const auto asks_for_attention = [] {
            return has_class(g_hub_pending_invites_btn, "suggested-action");
        };
        update_hub_space_actions();
        EXPECT_EQ(tooltip(g_hub_pending_invites_btn), "Invitaciones pendientes");
        EXPECT_FALSE(asks_for_attention());
        make_invitation(add_space("s1", "Uno"), "i1");
        make_invitation(add_space("s2", "Dos"), "i2");
        make_invitation(add_space("s3", "Sin número"), "");
        refresh_hub_server_list();
        EXPECT_EQ(tooltip(g_hub_pending_invites_btn), "Invitaciones pendientes (2)");
        EXPECT_TRUE(asks_for_attention());
        EXPECT_TRUE(gtk_widget_get_sensitive(g_hub_pending_invites_btn));
        g_language = k_language_english;
        apply_language_to_ui();
        EXPECT_EQ(tooltip(g_hub_pending_invites_btn), "Pending invitations (2)");
        copy_text(g_hub_servers[0].role, "member");
        copy_text(g_hub_servers[1].invitationStatus, "accepted");
        refresh_hub_server_list();
        EXPECT_EQ(tooltip(g_hub_pending_invites_btn), "Pending invitations");
        EXPECT_FALSE(asks_for_attention());
        EXPECT_FALSE(gtk_widget_get_sensitive(g_hub_pending_invites_btn));
    });
}

TEST_F(HubActions, AdministersASpaceWhoOwnsItOrIsNamedInIt) {
    copy_text(add_space("s1", "Uno").role, "owner");
    copy_text(add_space("s2", "Dos").adminUserId, "u1");
    copy_text(add_space("s3", "Tres").adminUserId, "U1");
    add_space("s4", "Cuatro");
    EXPECT_TRUE(user_is_admin_of_space_index(0));
    EXPECT_TRUE(user_is_admin_of_space_index(1));
    EXPECT_FALSE(user_is_admin_of_space_index(2));
    EXPECT_FALSE(user_is_admin_of_space_index(3));
    EXPECT_FALSE(user_is_admin_of_space_index(-1));
    EXPECT_FALSE(user_is_admin_of_space_index(4));
    g_user_id[0] = '\0'; // nobody is not the administrator of a space without one
    EXPECT_FALSE(user_is_admin_of_space_index(3));
}

TEST_F(HubActions, TheGeneralRoomIsTheFirstOneOrOneOfThatName) {
    add_rooms({"r1:Cine", "r2:GENERAL", "r3:Generales", "r4:general", "r5:"});
    for (const int language : {k_language_spanish, k_language_english}) {
        g_language = language;
        EXPECT_TRUE(is_general_room_index(0));
        EXPECT_TRUE(is_general_room_index(1));
        EXPECT_FALSE(is_general_room_index(2));
        EXPECT_TRUE(is_general_room_index(3));
        EXPECT_FALSE(is_general_room_index(4));
        EXPECT_FALSE(is_general_room_index(-1));
        EXPECT_FALSE(is_general_room_index(5));
    }
}

TEST_F(HubActions, ASpaceIsAddedById) {
    run_interface([] {
        EXPECT_FALSE(add_hub_server(nullptr));
        EXPECT_FALSE(add_hub_server(""));
        copy_text(g_hub_servers[0].description, "de antes");
        g_hub_servers[0].roomsCached = true;
        EXPECT_TRUE(add_hub_server("n1"));
        EXPECT_TRUE(add_hub_server("n2"));
        const HubSpace& added = g_hub_servers[0];
        EXPECT_STREQ(added.name, "Servidor 1");
        EXPECT_STREQ(added.id, "n1");
        EXPECT_STREQ(added.role, "owner");
        EXPECT_STREQ(added.adminUserId, "u1");
        EXPECT_STREQ(added.description, "");
        EXPECT_FALSE(added.roomsCached);
        EXPECT_EQ(g_hub_server_count, 2);
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_TRUE(add_hub_server("n1"));
        EXPECT_EQ(g_hub_server_count, 2);
        EXPECT_EQ(g_selected_server_index, 0);
        EXPECT_EQ(list_lines(), (Texts{"Servidor 1", "Servidor 2"}));
        EXPECT_EQ(selected_row(), rows().at(0));
        while (g_hub_server_count < k_max_hub_spaces) {
            add_space("s" + std::to_string(g_hub_server_count), "x");
        }
        EXPECT_FALSE(add_hub_server("n3"));
        EXPECT_FALSE(add_hub_server("n2")); // known, but the table is full
        EXPECT_EQ(g_hub_server_count, k_max_hub_spaces);
        EXPECT_EQ(g_selected_server_index, 0);
    });
}

TEST_F(HubActions, ASpaceOfAnIdThatIsTooLongIsAddedOnce) {
    run_interface([] {
        const std::string kept(sizeof(HubSpace::id) - 1, 'i');
        EXPECT_TRUE(add_hub_server(kept.c_str()));
        EXPECT_TRUE(add_hub_server((kept + "1").c_str()));
        EXPECT_TRUE(add_hub_server("otro"));
        EXPECT_TRUE(add_hub_server((kept + std::string(500, '2')).c_str()));
        EXPECT_EQ(g_hub_servers[0].id, kept);
        EXPECT_EQ(list_lines(), (Texts{"Servidor 1", "Servidor 2"}));
        EXPECT_EQ(g_selected_server_index, 0);
    });
}

TEST_F(HubActions, RoomsAreCachedForTheSelectedSpaceOnly) {
    add_space("s1", "Uno");
    add_space("s2", "Dos");
    add_rooms({"r1:General", "r2:Cine"});
    copy_text(g_hub_rooms_space_id, "s2");
    cache_selected_space_rooms();
    g_selected_server_index = 0;
    cache_selected_space_rooms(); // they are not this one's
    EXPECT_FALSE(g_hub_servers[0].roomsCached);
    g_selected_server_index = 1;
    cache_selected_space_rooms();
    EXPECT_TRUE(g_hub_servers[1].roomsCached);
    EXPECT_TRUE(g_hub_servers[1].roomsCacheValid);
    EXPECT_EQ(g_hub_servers[1].cachedRoomCount, 2);
    EXPECT_STREQ(g_hub_servers[1].cachedRooms[1].name, "Cine");
    EXPECT_FALSE(g_hub_servers[0].roomsCached);
}

TEST_F(HubActions, RoomsTakenFromOneSpacesCacheDoNotGetIntoAnothers) {
    const HubSpace& first = add_space("s1", "Uno", {"r1:General"});
    add_space("s2", "Dos", {"r2:Cine"});
    copy_text(g_hub_rooms_space_id, "s2");
    take_cached_rooms(first);
    g_selected_server_index = 1;
    cache_selected_space_rooms();
    EXPECT_STREQ(g_hub_servers[1].cachedRooms[0].name, "Cine");
}

// --- Accepting and declining ---

TEST_F(HubActions, AcceptingNeedsAnInvitationThatIsPending) {
    run_interface([this] {
        on_accept_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_select_space")));
        add_space("s1", "Uno");
        g_selected_server_index = 0;
        on_accept_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_accept_invite_first")));
        make_invitation(g_hub_servers[0], "");
        on_accept_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_select_space")));
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubActions, AcceptingSelectsTheSpaceWhereverItIsNowAndLoadsItsRooms) {
    answer(k_accept, 200, "{}");
    answer(k_spaces, 200, k_two_spaces);
    answer_rooms("s1", {"r1:General", "r2:Cine"});
    run_interface([this] {
        make_invitation(add_space("s1", "Uno"), "i1");
        g_selected_server_index = 0;
        on_accept_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(requests(), (Texts{k_accept, k_spaces, "GET /api/spaces/s1/rooms"}));
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_STREQ(g_selected_space_id, "s1");
        EXPECT_EQ(list_lines(), (Texts{"Cero", "Uno", "  General", "  Cine"}));
        EXPECT_EQ(selected_row(), rows().at(1));
        EXPECT_FALSE(gtk_widget_get_sensitive(g_hub_pending_invites_btn));
        EXPECT_TRUE(no_window_over_the_hub());
    });
}

TEST_F(HubActions, AnAcceptedSpaceIsThereAlsoWithoutItsRooms) {
    answer(k_accept, 200, "{}");
    answer(k_spaces, 200, k_two_spaces);
    run_interface([] {
        add_rooms({"r9:De otro espacio"});
        make_invitation(add_space("s1", "Uno"), "i1");
        g_selected_server_index = 0;
        on_accept_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(list_lines(), (Texts{"Cero", "Uno"}));
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_EQ(g_hub_room_count, 0);
        EXPECT_TRUE(no_window_over_the_hub());
    });
}

TEST_F(HubActions, AnAcceptedSpaceThatIsGoneIsNotSelected) {
    answer(k_accept, 200, "{}");
    answer(k_spaces, 200, R"({"spaces":[{"id":"s0","name":"Cero"}]})");
    run_interface([this] {
        make_invitation(add_space("s1", "Uno"), "i1");
        g_selected_server_index = 0;
        on_accept_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_EQ(selected_row(), nullptr);
        EXPECT_EQ(requests(), (Texts{k_accept, k_spaces}));
    });
}

TEST_F(HubActions, ARefusedAcceptanceShowsTheServersWords) {
    answer(k_accept, 410, R"({"error":"Invitación vencida"})");
    run_interface([] {
        make_invitation(add_space("s1", "Uno"), "i1");
        g_selected_server_index = 0;
        on_accept_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), failure("Espacio", "Invitación vencida"));
        EXPECT_EQ(g_selected_server_index, 0);
    });
}

TEST_F(HubActions, DecliningNeedsAnInvitation) {
    run_interface([this] {
        on_decline_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_select_space")));
        add_space("s1", "Uno");
        g_selected_server_index = 0;
        on_decline_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_select_space")));
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubActions, DecliningLeavesWhatTheServerThenLists) {
    answer(k_decline, 200, "{}");
    answer(k_spaces, 200, R"({"spaces":[{"id":"s0","name":"Cero"}]})");
    run_interface([this] {
        make_invitation(add_space("s1", "Uno"), "i1");
        g_selected_server_index = 0;
        on_decline_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(requests(), (Texts{k_decline, k_spaces}));
        EXPECT_EQ(list_lines(), Texts{"Cero"});
        EXPECT_EQ(selected_row(), nullptr);
    });
}

TEST_F(HubActions, ARefusedDeclineShowsTheServersWords) {
    answer(k_decline, 410, R"({"error":"Invitación vencida"})");
    run_interface([] {
        make_invitation(add_space("s1", "Uno"), "i1");
        g_selected_server_index = 0;
        on_decline_invitation_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), failure("Espacio", "Invitación vencida"));
    });
}

// --- Inviting ---

TEST_F(HubActions, InvitingNeedsASpaceAndAnAddress) {
    run_interface([this] {
        make_controls();
        on_invite_to_space_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_select_space_invite")));
        add_space("s1", "Uno");
        g_selected_server_index = 0;
        type(g_invite_user_entry, "   ");
        on_invite_to_space_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_invite_email_required")));
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubActions, AnInvitationIsSentWhateverTheAddressAndTheFieldIsCleared) {
    answer("POST /api/spaces/s1/invitations", 201, "{}");
    run_interface([this] {
        make_controls();
        add_space("s1", "Uno");
        g_selected_server_index = 0;
        type(g_invite_user_entry, " LEO ");
        on_invite_to_space_clicked(nullptr, nullptr);
        EXPECT_EQ(body_of_last_request(), R"({"sessionToken":"tok","invitedEmail":"leo"})");
        EXPECT_EQ(typed(g_invite_user_entry), "");
        EXPECT_EQ(take_alert(), information("Espacio", "Invitación enviada."));
    });
}

TEST_F(HubActions, ARefusedInvitationKeepsTheAddress) {
    answer("POST /api/spaces/s1/invitations", 409, R"({"error":"Ya es miembro"})");
    run_interface([] {
        make_controls();
        add_space("s1", "Uno");
        g_selected_server_index = 0;
        type(g_invite_user_entry, "leo@velmo.example");
        on_invite_to_space_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), failure("Espacio", "Ya es miembro"));
        EXPECT_EQ(typed(g_invite_user_entry), "leo@velmo.example");
    });
}

// --- Joining by code ---

TEST_F(HubActions, WithoutACodeFieldNothingHappens) {
    run_interface([this] {
        on_join_space_by_code_clicked(nullptr, nullptr);
        on_join_space_by_code_clicked(g_hub_add_space_action_btn, nullptr);
        EXPECT_TRUE(no_window_over_the_hub());
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubActions, ACodeOfLessThanFourCharactersIsRefusedHere) {
    run_interface([this] {
        make_controls();
        type(g_invite_code_entry, " !ñ ");
        on_join_space_by_code_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_join_code_required")));
        type(g_invite_code_entry, "A-1 ");
        on_join_space_by_code_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_invite_code_invalid")));
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubActions, ACodeLeadsToItsSpaceWhichTheListShowsAsSelected) {
    answer(k_join, 200, R"({"id":"s1"})");
    answer(k_spaces, 200, k_two_spaces);
    answer_rooms("s1", {"r1:General"});
    run_interface([this] {
        make_controls();
        type(g_invite_code_entry, "ABCD");
        on_join_space_by_code_clicked(g_join_code_btn, nullptr);
        EXPECT_EQ(requests(), (Texts{k_join, k_spaces, "GET /api/spaces/s1/rooms"}));
        EXPECT_EQ(typed(g_invite_code_entry), "");
        EXPECT_EQ(selected_row(), rows().at(1));
        EXPECT_TRUE(no_window_over_the_hub());
    });
}

TEST_F(HubActions, ACodesSpaceWhoseRoomsCannotBeLoadedCachesNone) {
    answer(k_join, 200, R"({"id":"s1"})");
    answer(k_spaces, 200, k_two_spaces);
    answer("GET /api/spaces/s1/rooms", 500, "{}");
    run_interface([] {
        make_controls();
        copy_text(g_hub_rooms_space_id, "s1");
        type(g_invite_code_entry, "ABCD");
        on_join_space_by_code_clicked(g_join_code_btn, nullptr);
        cache_selected_space_rooms();
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_FALSE(g_hub_servers[1].roomsCached);
    });
}

TEST_F(HubActions, ACodeOfTheButtonsOwnFieldComesFirst) {
    answer(k_join, 404, R"({"error":"Código desconocido"})");
    run_interface([this] {
        make_controls();
        GtkWidget* own = nullptr;
        attach(own, gtk_entry_new(), g_hub_page);
        g_object_set_data(G_OBJECT(g_join_code_btn), "popup-entry", own);
        type(own, "PROPIO");
        type(g_invite_code_entry, "OTRO");
        on_join_space_by_code_clicked(g_join_code_btn, nullptr);
        EXPECT_EQ(body_of_last_request(), R"({"sessionToken":"tok","inviteCode":"PROPIO"})");
        EXPECT_EQ(take_alert(), failure("Espacio", "Código desconocido"));
        EXPECT_EQ(typed(own), "PROPIO");
        forget(own);
    });
}

} // namespace
