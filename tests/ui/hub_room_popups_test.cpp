// The popups that create and delete rooms.
#include "hub_fixture.h"
#include "popup_access.h"

#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/localisation.h"

namespace {

constexpr const char* k_create = "POST /api/spaces/s1/rooms";
constexpr const char* k_delete = "DELETE /api/spaces/s1/rooms/r2";

class RoomPopups : public HubTest {
  protected:
    /// The user's own space "s1" with "r1" and "r2", which is selected.
    static void show_own_space(const char* second_room = "Cine") {
        copy_text(add_space("s1", "Uno", {"r1:General", std::string("r2:") + second_room}).role,
                  "owner");
        add_rooms({"r1:General", std::string("r2:") + second_room});
        show_hub();
        be_in_space();
        copy_text(g_hub_rooms_space_id, "s1");
        refresh_hub_server_list();
    }

    void expect_refused(const std::string& name, const char* text_key) {
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), name);
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert(), warning("Sala", tr(text_key)));
        EXPECT_EQ(typed(popup_field(popup)), name);
        EXPECT_EQ(find_dialog(), popup);
    }
};

TEST_F(RoomPopups, FollowThePattern) {
    run_interface([] {
        show_own_space();
        show_space_create_room_popup(0);
        GtkWindow* popup = wait_for_popup();
        expect_popup(popup, 420, 180, "Crear nueva sala");
        EXPECT_EQ(placeholder(popup_field(popup)), "Nombre de la nueva sala");
        click(popup_button(popup, "Cancelar"));
        show_room_delete_popup(0, 1);
        popup = wait_for_popup();
        expect_popup(popup, 460, 220, "Eliminar sala");
        EXPECT_EQ(
            label_texts(gtk_window_get_child(popup)),
            (Texts{"Eliminar sala", "Tipea el nombre de la sala para confirmar el borrado:", "Cine",
                   "Escribe el nombre de la sala para confirmar.", "Cancelar", "Eliminar sala"}));
        EXPECT_EQ(placeholder(popup_field(popup)), "Escribe el nombre de la sala para confirmar.");
    });
}

TEST_F(RoomPopups, AreForTheAdministratorOnly) {
    run_interface([] {
        show_own_space();
        copy_text(g_hub_servers[0].role, "member");
        show_space_create_room_popup(0);
        EXPECT_EQ(take_alert(), warning("Sala", tr("msg_only_admin_action")));
        show_room_delete_popup(0, 1);
        EXPECT_EQ(take_alert(), warning("Sala", tr("msg_only_admin_action")));
        copy_text(g_hub_servers[0].role, "owner");
        show_space_create_room_popup(0);
        GtkWindow* const popup = wait_for_popup();
        copy_text(g_hub_servers[0].role, "member");
        type(popup_field(popup), "Nueva");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert(), warning("Sala", tr("msg_only_admin_action")));
    });
}

TEST_F(RoomPopups, ANameOfTooFewCharactersIsNotSent) {
    run_interface([this] {
        show_own_space();
        show_space_create_room_popup(0);
        expect_refused("", "msg_enter_room_name");
        expect_refused(" ! ", "msg_enter_room_name");
        expect_refused("A", "msg_space_name_invalid");
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(RoomPopups, ACreatedRoomIsListed) {
    answer(k_create, 201, "{}");
    answer_rooms("s1", {"r1:General", "r2:Cine", "r3:Nueva"});
    run_interface([this] {
        show_own_space();
        show_space_create_room_popup(0);
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), " Nueva ");
        click(popup_button(popup, "Crear sala"));
        EXPECT_EQ(take_alert(), information("Sala", "Sala creada con éxito."));
        EXPECT_EQ(find_dialog(), nullptr);
        EXPECT_EQ(body_of_request(k_create), R"({"sessionToken":"tok","name":"Nueva"})");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine", "  Nueva"}));
        EXPECT_STREQ(g_selected_space_id, "s1");
    });
}

TEST_F(RoomPopups, ARoomOfAnotherSpaceMakesThatOneCurrent) {
    answer("POST /api/spaces/s2/rooms", 201, "{}");
    answer_rooms("s2", {"q1:General", "q2:Nueva"});
    run_interface([] {
        show_own_space();
        copy_text(add_space("s2", "Dos").role, "owner");
        refresh_hub_server_list();
        show_space_create_room_popup(1);
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Nueva");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert().kind, k_gui_message_information);
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_EQ(list_lines(),
                  (Texts{"Uno", "  General", "  Cine", "Dos", "  General", "  Nueva"}));
    });
}

TEST_F(RoomPopups, ARoomThatCannotBeCreatedLeavesThePopupAsItIs) {
    run_interface([this] {
        show_own_space();
        show_space_create_room_popup(0);
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Nueva");
        answer(k_create, 409, R"({"error":"Ya hay 32 salas"})");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert(), failure("Sala", "Ya hay 32 salas"));
        EXPECT_EQ(typed(popup_field(popup)), "Nueva");
        EXPECT_EQ(find_dialog(), popup);
    });
}

TEST_F(RoomPopups, TheNameConfirmsADeletionButForBlanks) {
    answer(k_delete, 200, "{}");
    answer_rooms("s1", {"r1:General"});
    run_interface([this] {
        show_own_space("Cine  de barrio");
        show_room_delete_popup(0, 1);
        expect_refused("", "msg_confirm_room_name");
        expect_refused("cine de barrio", "msg_confirm_room_name_mismatch");
        expect_refused("Cine", "msg_confirm_room_name_mismatch");
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Cine de barrio");
        click(popup_button(popup, "Eliminar sala"));
        EXPECT_EQ(take_alert(), information("Sala", "Sala eliminada con éxito."));
        EXPECT_EQ(body_of_request(k_delete),
                  R"({"sessionToken":"tok","confirmName":"Cine  de barrio"})");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General"}));
        EXPECT_EQ(find_dialog(), nullptr);
    });
}

TEST_F(RoomPopups, ARoomThatCannotBeDeletedStays) {
    answer(k_delete, 403, "{}");
    run_interface([this] {
        show_own_space();
        show_room_delete_popup(0, 1);
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Cine");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert().kind, k_gui_message_error);
        EXPECT_EQ(find_dialog(), popup);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
    });
}

TEST_F(RoomPopups, WhatIsGoneMeanwhileIsNotDeleted) {
    run_interface([this] {
        show_own_space();
        show_room_delete_popup(0, 1);
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Cine");
        g_hub_room_count = 0; // others have deleted it; another room may take its place
        add_rooms({"r1:General", "r9:Cine"});
        press_enter(popup_field(popup));
        EXPECT_EQ(requests(), Texts{});
        EXPECT_EQ(find_dialog(), popup);
        show_room_delete_popup(0, 7);
        show_room_delete_popup(0, -1);
    });
}

} // namespace
