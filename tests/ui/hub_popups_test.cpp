// The popups that create and join spaces, show the invitation code, and the way to an invitation.
#include "hub_fixture.h"
#include "popup_access.h"

#include "backend/identity.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/hub/space_images_internal.h"
#include "ui/localisation.h"

#include <string>

namespace {

constexpr const char* k_create = "POST /api/spaces";
constexpr const char* k_join = "POST /api/spaces/join-by-code";

class HubPopups : public HubTest {
  protected:
    static std::string spaces(const Texts& names) {
        std::string body = R"({"spaces":[)";
        for (std::size_t i = 0; i < names.size(); ++i) {
            body += std::string(i > 0 ? "," : "") + R"({"id":"n)" + std::to_string(i) +
                    R"(","name":")" + names[i] + R"(","knownBy":"member"})";
        }
        return body + "]}";
    }
};

TEST_F(HubPopups, EveryPopupFollowsOnePattern) {
    run_interface([] {
        copy_text(add_space("s1", "Uno").inviteCode, "ABCD-EFGH");
        show_hub();
        g_selected_server_index = 0;
        struct Row {
            void (*show)();
            int width;
            int height;
            const char* title;
        };
        constexpr Row k_rows[] = {
            {show_hub_add_space_popup, 360, 180, "Opciones de espacio"},
            {show_create_space_popup, 460, 240, "Ingresa nombre del nuevo espacio"},
            {show_join_space_by_code_popup, 420, 170, "Unirse a espacio por código"},
            {show_space_invite_code_popup, 460, 170, "Código de invitación del espacio"},
        };
        for (const Row& row : k_rows) {
            row.show();
            GtkWindow* const popup = wait_for_popup();
            expect_popup(popup, row.width, row.height, row.title);
            click(popup_button(popup, "Cancelar"));
            EXPECT_EQ(find_dialog(), nullptr) << row.title;
        }
    });
}

TEST_F(HubPopups, EscapeClosesAPopupAndOtherKeysPass) {
    run_interface([] {
        show_hub();
        for (void (*const show)() : {show_create_space_popup, show_join_space_by_code_popup}) {
            show();
            GtkWindow* const popup = wait_for_popup();
            EXPECT_FALSE(on_create_space_popup_key_pressed(nullptr, GDK_KEY_a, 0, {}, popup));
            EXPECT_NE(find_dialog(), nullptr);
            EXPECT_TRUE(on_create_space_popup_key_pressed(nullptr, GDK_KEY_Escape, 0, {}, popup));
            EXPECT_EQ(find_dialog(), nullptr);
        }
    });
}

TEST_F(HubPopups, ThePlusOffersBothWays) {
    run_interface([] {
        show_hub();
        click(g_hub_add_space_action_btn);
        click(popup_button(wait_for_popup(), "Ingresar código de invitación"));
        EXPECT_STREQ(gtk_window_get_title(wait_for_popup()), "Unirse a espacio por código");
        close_dialog(find_dialog());
        click(g_hub_add_space_action_btn);
        click(popup_button(wait_for_popup(), "Crear espacio"));
        EXPECT_STREQ(gtk_window_get_title(wait_for_popup()), "Ingresa nombre del nuevo espacio");
        close_dialog(find_dialog());
        on_add_server_clicked(nullptr, nullptr);
        EXPECT_STREQ(gtk_window_get_title(wait_for_popup()), "Ingresa nombre del nuevo espacio");
    });
}

// --- Creating
// -------------------------------------------------------------------------------------

TEST_F(HubPopups, ANameOfTooFewCharactersIsNotSent) {
    run_interface([this] {
        show_hub();
        show_create_space_popup();
        GtkWindow* const popup = wait_for_popup();
        EXPECT_EQ(gtk_entry_get_max_length(GTK_ENTRY(popup_field(popup))), 64);
        EXPECT_EQ(placeholder(popup_field(popup)), "Nombre del espacio");
        for (const char* const name : {"", "   ", "!!"}) {
            type(popup_field(popup), name);
            click(popup_button(popup, "Crear espacio"));
            EXPECT_EQ(take_alert(), warning("Espacio", "Ingresa nombre del nuevo espacio."));
        }
        type(popup_field(popup), "!A!");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert(),
                  warning("Espacio", "El nombre debe contener al menos 2 caracteres válidos."));
        EXPECT_EQ(typed(popup_field(popup)), "!A!");
        EXPECT_EQ(requests(), Texts{});
    });
}

TEST_F(HubPopups, ACreatedSpaceIsTheLastOfItsNameAndTheUsersOwn) {
    answer(k_create, 201, "{}");
    answer("GET /api/spaces", 200, spaces({"Radio", "Otro", "Radio", "Fin"}));
    run_interface([this] {
        show_hub();
        show_create_space_popup();
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "  Radio ");
        click(popup_button(popup, "Crear espacio"));
        EXPECT_EQ(requests(), (Texts{k_create, "GET /api/spaces"}));
        EXPECT_EQ(g_selected_server_index, 2);
        EXPECT_STREQ(g_hub_servers[2].role, "owner");
        EXPECT_STREQ(g_hub_servers[0].role, "member");
        EXPECT_FALSE(g_hub_servers[2].hasImage);
        EXPECT_EQ(index_data(selected_row(), "space-index"), 3);
        EXPECT_EQ(find_dialog(), nullptr);
        EXPECT_EQ(popup_text(), "no popup");
    });
}

TEST_F(HubPopups, ASpaceThatCannotBeCreatedLeavesThePopupAsItIs) {
    run_interface([this] {
        show_hub();
        show_create_space_popup();
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Radio");
        answer(k_create, 409, R"({"error":"Ya estás en 32 espacios"})");
        click(popup_button(popup, "Crear espacio"));
        EXPECT_EQ(take_alert(), failure("Espacio", "Ya estás en 32 espacios"));
        answer(k_create, 500, "{}");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert().kind, k_gui_message_error);
        EXPECT_EQ(typed(popup_field(popup)), "Radio");
        EXPECT_EQ(find_dialog(), popup);
    });
}

TEST_F(HubPopups, TheChosenPictureGoesWithTheSpace) {
    answer(k_create, 201, "{}");
    answer("GET /api/spaces", 200, spaces({"Radio"}));
    write_file("radio.png", small_png());
    run_interface([this] {
        show_hub();
        show_create_space_popup();
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Radio");
        choose_picture(popup, "radio.png");
        EXPECT_EQ(picture_label(popup), "radio.png");
        click(popup_button(popup, "Crear espacio"));
        const GCharPtr base64(g_base64_encode(reinterpret_cast<const guchar*>(small_png().data()),
                                              small_png().size()));
        EXPECT_EQ(requests().front(), k_create);
        EXPECT_TRUE(g_hub_servers[0].hasImage);
        EXPECT_STREQ(g_hub_servers[0].role, "owner");
        const char* const path = get_local_space_image_path("n0");
        ASSERT_NE(path, nullptr);
        EXPECT_TRUE(std::string(path).ends_with("radio.png"));
        EXPECT_EQ(body_of_request(k_create),
                  R"({"sessionToken":"tok","name":"Radio","description":"","imageBase64":")" +
                      std::string(base64.get()) + R"(","imageMimeType":"image/png"})");
        wait_until([] { return has_keyboard_within(g_servers_list); });
    });
}

TEST_F(HubPopups, CancellingTheFileDialogKeepsTheEarlierChoice) {
    write_file("radio.png", small_png());
    run_interface([] {
        show_hub();
        show_create_space_popup();
        GtkWindow* const popup = wait_for_popup();
        EXPECT_EQ(picture_label(popup), "Sin imagen seleccionada");
        cancel_file_dialog(popup);
        EXPECT_EQ(picture_label(popup), "Sin imagen seleccionada");
        choose_picture(popup, "radio.png");
        cancel_file_dialog(popup);
        EXPECT_EQ(picture_label(popup), "radio.png");
        EXPECT_TRUE(gtk_widget_is_ancestor(gtk_window_get_focus(popup), popup_field(popup)));
    });
}

TEST_F(HubPopups, APictureThatIsNoneIsRefusedBeforeItIsSent) {
    write_file("texto.png", "Esto no es una imagen");
    run_interface([this] {
        show_hub();
        show_create_space_popup();
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "Radio");
        choose_picture(popup, "texto.png");
        click(popup_button(popup, "Crear espacio"));
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_space_image_invalid")));
        choose_picture(popup, "gone.png");
        click(popup_button(popup, "Crear espacio"));
        EXPECT_EQ(take_alert().kind, k_gui_message_warning);
        EXPECT_EQ(requests(), Texts{});
        EXPECT_EQ(typed(popup_field(popup)), "Radio");
    });
}

// --- Joining
// --------------------------------------------------------------------------------------

TEST_F(HubPopups, ACodeOfThreeCharactersIsNotSentOneOfFourIs) {
    answer(k_join, 404, R"({"error":"No hay ningún espacio con ese código"})");
    run_interface([this] {
        show_hub();
        show_join_space_by_code_popup();
        GtkWindow* const popup = wait_for_popup();
        EXPECT_EQ(gtk_entry_get_max_length(GTK_ENTRY(popup_field(popup))), 64);
        click(popup_button(popup, "Unirse"));
        EXPECT_EQ(take_alert(), warning("Espacio", "Ingresa un código de invitación."));
        type(popup_field(popup), "A B C");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert(), warning("Espacio", "Formato de código de invitación inválido."));
        EXPECT_EQ(requests(), Texts{});
        type(popup_field(popup), "ABCD");
        press_enter(popup_field(popup));
        EXPECT_EQ(take_alert(), failure("Espacio", "No hay ningún espacio con ese código"));
        EXPECT_EQ(requests(), Texts{k_join});
        EXPECT_EQ(find_dialog(), popup);
        EXPECT_EQ(typed(popup_field(popup)), "ABCD");
    });
}

TEST_F(HubPopups, AJoinedSpaceIsSelectedWithItsRooms) {
    answer(k_join, 200, R"({"id":"n1"})");
    answer("GET /api/spaces", 200, spaces({"Uno", "Dos"}));
    answer_rooms("n1", {"r1:General"});
    run_interface([] {
        show_hub();
        show_join_space_by_code_popup();
        GtkWindow* const popup = wait_for_popup();
        type(popup_field(popup), "ABCD-EFGH");
        click(popup_button(popup, "Unirse"));
        EXPECT_EQ(find_dialog(), nullptr);
        EXPECT_EQ(g_selected_server_index, 1);
        EXPECT_STREQ(g_selected_space_id, "n1");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "Dos", "  General"}));
    });
}

// --- Invitations
// ----------------------------------------------------------------------------------

TEST_F(HubPopups, TheCodeIsShownAndCopied) {
    run_interface([] {
        show_hub();
        EXPECT_FALSE(gtk_widget_get_sensitive(g_hub_invite_space_code_btn));
        show_space_invite_code_popup();
        EXPECT_EQ(take_alert(), warning("Espacio", tr("msg_select_space_invite")));
        add_space("s1", "Uno");
        g_selected_server_index = 0;
        show_space_invite_code_popup();
        EXPECT_EQ(take_alert(), warning("Espacio", tr("hub_invite_code_unavailable")));
        copy_text(g_hub_servers[0].inviteCode, "ABCD-EFGH");
        refresh_hub_server_list();
        click(g_hub_invite_space_code_btn);
        GtkWindow* const popup = wait_for_popup();
        EXPECT_EQ(typed(popup_field(popup)), "ABCD-EFGH");
        EXPECT_FALSE(gtk_editable_get_editable(GTK_EDITABLE(popup_field(popup))));
        GtkWidget* const copy = gtk_widget_get_next_sibling(popup_field(popup));
        expect_tooltip_and_name(copy, "Copiar");
        EXPECT_TRUE(has_class(copy, "btn-primary"));
        click(copy);
        EXPECT_EQ(take_alert(), information("Espacio", "Código de invitación copiado."));
        EXPECT_EQ(find_dialog(), popup);
        GdkContentProvider* const held =
            gdk_clipboard_get_content(gtk_widget_get_clipboard(GTK_WIDGET(popup)));
        ASSERT_NE(held, nullptr);
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_STRING);
        EXPECT_TRUE(gdk_content_provider_get_value(held, &value, nullptr));
        EXPECT_STREQ(g_value_get_string(&value), "ABCD-EFGH");
        g_value_unset(&value);
    });
}

TEST_F(HubPopups, TheFirstInvitationThatCanBeAnsweredIsSelected) {
    run_interface([] {
        add_space("s1", "Uno");
        make_invitation(add_space("s2", "Dos"), "");
        make_invitation(add_space("s3", "Tres"), "i3");
        make_invitation(add_space("s4", "Cuatro"), "i4");
        show_hub();
        click(g_hub_pending_invites_btn);
        EXPECT_EQ(take_alert(), information("Espacio", "Invitación pendiente seleccionada."));
        EXPECT_EQ(g_selected_server_index, 2);
        EXPECT_EQ(index_data(selected_row(), "space-index"), 3);
        EXPECT_FALSE(gtk_widget_get_sensitive(g_hub_invite_space_code_btn));
    });
}

TEST_F(HubPopups, WithoutAnInvitationItSaysSo) {
    run_interface([] {
        add_space("s1", "Uno");
        show_hub();
        on_hub_pending_invites_clicked(nullptr, nullptr);
        EXPECT_EQ(take_alert(), information("Espacio", "No hay invitaciones pendientes."));
        EXPECT_EQ(g_selected_server_index, -1);
    });
}

} // namespace
