// The table of the interface's texts: which rows it has, and what they say.
#include "ui/localisation.h"
#include "ui/localisation_table.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <iterator>
#include <set>
#include <string>
#include <string_view>

namespace {

// clang-format off
constexpr const char* k_keys[] = {
    "app_window_title",
    "login_title",
    "login_subtitle",
    "login_user_label",
    "login_user_placeholder",
    "login_pass_label",
    "login_pass_placeholder",
    "login_backend_label",
    "login_hint",
    "login_login_btn",
    "login_create_btn",
    "login_google_btn",
    "register_title",
    "register_user_label",
    "register_user_placeholder",
    "register_pass_label",
    "register_pass_placeholder",
    "register_confirm_pass_label",
    "register_confirm_pass_placeholder",
    "register_create_btn",
    "register_back_btn",
    "tab_channel",
    "tab_spaces",
    "tab_settings",
    "hub_title",
    "hub_subtitle",
    "hub_spaces_available",
    "hub_display_name_label",
    "hub_display_name_placeholder",
    "hub_space_name_placeholder",
    "hub_create_space_btn",
    "hub_create_or_join_btn",
    "hub_invite_space_code_btn",
    "hub_add_space_popup_title",
    "hub_add_space_join_option",
    "hub_add_space_create_option",
    "hub_join_code_popup_title",
    "hub_invite_code_popup_title",
    "hub_invite_code_copy_btn",
    "hub_invite_code_copied",
    "hub_invite_code_unavailable",
    "hub_pending_invites_tooltip",
    "hub_pending_invites_none",
    "hub_pending_invites_selected",
    "hub_space_name_locked_hint",
    "hub_space_image_btn",
    "hub_space_image_none",
    "hub_empty_spaces",
    "hub_invite_code_placeholder",
    "hub_join_code_btn",
    "hub_chat_default_title",
    "hub_space_info_title",
    "hub_space_info_label_space",
    "hub_space_info_label_admin",
    "hub_space_info_label_motd",
    "hub_space_info_unknown",
    "hub_space_info_motd_empty",
    "hub_space_info_empty",
    "hub_chat_loading_history",
    "hub_chat_empty",
    "hub_space_users_title",
    "hub_space_users_empty",
    "hub_space_users_none",
    "hub_you_suffix",
    "hub_stream_share_btn",
    "hub_stream_stop_btn",
    "hub_stream_view_btn",
    "hub_stream_back_chat_btn",
    "hub_stream_status_idle",
    "hub_stream_status_local",
    "hub_stream_status_viewing",
    "hub_stream_status_remote",
    "hub_chat_input_placeholder",
    "hub_chat_send_btn",
    "hub_invite_email_placeholder",
    "hub_invite_btn",
    "hub_accept_invite_btn",
    "hub_decline_invite_btn",
    "hub_enter_selected_btn",
    "rooms_title",
    "rooms_subtitle",
    "rooms_new_placeholder",
    "rooms_create_btn",
    "rooms_back_spaces_btn",
    "rooms_enter_btn",
    "channel_general",
    "channel_participants",
    "channel_chat_placeholder",
    "status_connecting",
    "status_in_channel",
    "devices_title",
    "input_device",
    "output_device",
    "volume_title",
    "input_volume",
    "output_volume",
    "input_level",
    "audio_test_title",
    "audio_test_desc",
    "audio_test_start",
    "audio_test_stop",
    "processing_title",
    "noise_reduction",
    "noise_reduction_desc",
    "dropdown_no_input",
    "dropdown_no_output",
    "dropdown_default_suffix",
    "msg_title_error",
    "msg_title_login",
    "msg_title_register",
    "msg_title_google",
    "msg_title_spaces",
    "msg_title_space",
    "msg_title_room",
    "msg_invalid_username",
    "msg_enter_password",
    "msg_password_mismatch",
    "msg_login_failed",
    "msg_register_failed",
    "msg_spaces_load_failed",
    "msg_google_failed",
    "msg_google_connecting",
    "msg_loading_space",
    "msg_switching_space",
    "msg_loading_space_data",
    "msg_creating_space",
    "msg_joining_room",
    "msg_loading_channel",
    "msg_room_load_failed",
    "msg_create_space_failed",
    "msg_create_space_name_required",
    "msg_space_name_invalid",
    "msg_space_image_too_large",
    "msg_space_image_invalid",
    "msg_invite_code_invalid",
    "msg_join_code_required",
    "msg_join_code_failed",
    "msg_chat_select_first",
    "msg_chat_select_room_first",
    "msg_chat_text_required",
    "msg_chat_send_failed",
    "msg_invite_email_required",
    "msg_invite_failed",
    "msg_invite_sent",
    "msg_accept_invite_failed",
    "msg_decline_invite_failed",
    "msg_select_space_invite",
    "msg_select_space",
    "msg_accept_invite_first",
    "msg_select_room",
    "msg_joined_room",
    "msg_select_space_first",
    "msg_enter_room_name",
    "msg_create_room_failed",
    "msg_create_room_success",
    "msg_delete_room_failed",
    "msg_delete_room_success",
    "msg_only_admin_action",
    "msg_confirm_room_name",
    "msg_confirm_room_name_mismatch",
    "ctx_create_room_menu",
    "ctx_delete_room_menu",
    "ctx_create_room_popup_title",
    "ctx_create_space_popup_title",
    "ctx_delete_room_popup_title",
    "ctx_delete_room_popup_hint",
    "btn_cancel",
    "btn_back_hub",
    "lang_title",
    "lang_desc",
    "account_title",
    "account_desc",
    "logout_btn",
    "logout_confirm_title",
    "logout_confirm_detail",
    "hub_user_edit_name",
    "hub_user_save_name",
    "no",
    "yes",
};
// clang-format on

struct Agreed {
    const char* key;
    const char* spanish;
    const char* english;
};

/// Texts that are agreed on word for word; the rest of the table may be reworded.
constexpr Agreed k_agreed[] = {
    {"app_window_title", "Velmo Voice Chat", "Velmo Voice Chat"},
    {"login_title", "Velmo", "Velmo"},
    {"login_subtitle", "Voice Chat", "Voice Chat"},
    {"login_user_label", "Email:", "Email:"},
    {"login_pass_label", "Contraseña:", "Password:"},
    {"login_pass_placeholder", "Contraseña...", "Password..."},
    {"login_backend_label", "OAuth Realm:", "OAuth Realm:"},
    {"login_hint", "Inicia sesión para continuar, o regístrate si aún no tienes cuenta.",
     "Log in to continue, or register if you don't have an account yet."},
    {"login_login_btn", "Ingresar", "Log in"},
    {"login_create_btn", "Registrarse", "Register"},
    {"login_google_btn", "Sign in with Google", "Sign in with Google"},
    {"register_title", "Crear cuenta", "Create account"},
    {"register_user_label", "Email:", "Email:"},
    {"register_pass_label", "Contraseña:", "Password:"},
    {"register_pass_placeholder", "Mínimo 12 chars, mayúscula, minúscula, número y símbolo",
     "Min 12 chars, uppercase, lowercase, number and symbol"},
    {"register_confirm_pass_label", "Confirmar contraseña:", "Confirm password:"},
    {"register_confirm_pass_placeholder", "Repite contraseña...", "Repeat password..."},
    {"register_create_btn", "Crear cuenta", "Create account"},
    {"register_back_btn", "Volver al Login", "Volver al Login"},
    {"hub_add_space_popup_title", "Opciones de espacio", "Space options"},
    {"hub_add_space_join_option", "Ingresar código de invitación", "Enter invitation code"},
    {"hub_add_space_create_option", "Crear espacio", "Create space"},
    {"hub_join_code_popup_title", "Unirse a espacio por código", "Join space by code"},
    {"hub_invite_code_popup_title", "Código de invitación del espacio", "Space invitation code"},
    {"hub_invite_code_copy_btn", "Copiar", "Copy"},
    {"hub_invite_code_copied", "Código de invitación copiado.", "Invitation code copied."},
    {"hub_invite_code_unavailable", "Aún no hay código de invitación disponible para este espacio.",
     "No invitation code is available for this space yet."},
    {"hub_pending_invites_tooltip", "Invitaciones pendientes", "Pending invitations"},
    {"hub_pending_invites_none", "No hay invitaciones pendientes.", "No pending invitations."},
    {"hub_pending_invites_selected", "Invitación pendiente seleccionada.",
     "Pending invitation selected."},
    {"hub_space_name_locked_hint", "Valida bien el nombre: luego no podrá cambiarse.",
     "Validate the name carefully: it cannot be changed later."},
    {"hub_space_image_btn", "Seleccionar imagen", "Choose image"},
    {"hub_space_image_none", "Sin imagen seleccionada", "No image selected"},
    {"hub_empty_spaces", "Aún no conoces espacios.", "You don't know any spaces yet."},
    {"hub_invite_code_placeholder", "Código de invitación", "Invitation code"},
    {"hub_chat_default_title", "Selecciona un espacio o sala", "Select a space or room"},
    {"hub_space_info_title", "Información del espacio", "Space information"},
    {"hub_space_info_label_space", "Espacio:", "Space:"},
    {"hub_space_info_label_admin", "Administrador:", "Administrator:"},
    {"hub_space_info_label_motd", "MOTD:", "MOTD:"},
    {"hub_space_info_unknown", "Desconocido", "Unknown"},
    {"hub_space_info_motd_empty", "Sin mensaje configurado.", "No message configured."},
    {"hub_space_info_empty", "Selecciona un espacio para ver sus datos.",
     "Select a space to view its details."},
    {"hub_space_users_title", "Usuarios del espacio", "Space users"},
    {"hub_space_users_empty", "Selecciona un espacio o sala para listar usuarios.",
     "Select a space or room to list users."},
    {"hub_space_users_none", "No se encontraron usuarios en este espacio.",
     "No users found in this space."},
    {"hub_you_suffix", "(Tú)", "(You)"},
    {"hub_stream_share_btn", "Compartir pantalla", "Share screen"},
    {"hub_stream_stop_btn", "Detener", "Stop"},
    {"hub_stream_back_chat_btn", "Volver al chat", "Back to chat"},
    {"hub_stream_status_idle", "No hay stream activo ahora.", "No active stream right now."},
    {"hub_stream_status_local", "Estás compartiendo tu pantalla.", "You are sharing your screen."},
    {"hub_stream_status_viewing", "Viendo stream...", "Viewing stream..."},
    {"hub_stream_status_remote", "Un usuario está compartiendo pantalla.",
     "A user is sharing screen."},
    {"channel_general", "General", "General"},
    {"status_in_channel", "En canal: %s", "In channel: %s"},
    {"audio_test_start", "🎤 Iniciar Prueba de Audio", "🎤 Start Audio Test"},
    {"audio_test_stop", "🛑 Detener Prueba", "🛑 Stop Test"},
    {"dropdown_no_input", "No hay dispositivos de entrada", "No input devices"},
    {"dropdown_no_output", "No hay dispositivos de salida", "No output devices"},
    {"dropdown_default_suffix", " (Predeterminado)", " (Default)"},
    {"msg_title_error", "Error", "Error"},
    {"msg_title_login", "Login", "Login"},
    {"msg_title_register", "Registro", "Register"},
    {"msg_title_google", "Google", "Google"},
    {"msg_title_spaces", "Espacios", "Spaces"},
    {"msg_title_space", "Espacio", "Space"},
    {"msg_title_room", "Sala", "Room"},
    {"msg_invalid_username", "Por favor ingresa un email válido.", "Please enter a valid email."},
    {"msg_enter_password", "Por favor ingresa una contraseña.", "Please enter a password."},
    {"msg_password_mismatch", "La contraseña y la confirmación no coinciden.",
     "Password and confirmation do not match."},
    {"msg_login_failed", "No se pudo iniciar sesión en backend",
     "Could not log in user in backend"},
    {"msg_register_failed", "No se pudo registrar usuario en backend",
     "Could not sign up user in backend"},
    {"msg_spaces_load_failed", "No se pudieron cargar los espacios", "Could not load spaces"},
    {"msg_google_failed", "No se pudo autenticar con Google", "Could not authenticate with Google"},
    {"msg_google_connecting", "Conectando con Google...", "Connecting with Google..."},
    {"msg_loading_space", "Cargando espacio...", "Loading space..."},
    {"msg_switching_space", "Cambiando espacio...", "Switching space..."},
    {"msg_loading_space_data", "Cargando datos del espacio...", "Loading space data..."},
    {"msg_creating_space", "Creando espacio...", "Creating space..."},
    {"msg_joining_room", "Ingresando a la sala...", "Joining room..."},
    {"msg_loading_channel", "Cargando canal...", "Loading channel..."},
    {"msg_room_load_failed", "No se pudieron cargar las salas del espacio",
     "Could not load space rooms"},
    {"msg_create_space_failed", "No se pudo crear espacio", "Could not create space"},
    {"msg_create_space_name_required", "Ingresa nombre del nuevo espacio.",
     "Enter a name for the new space."},
    {"msg_space_name_invalid", "El nombre debe contener al menos 2 caracteres válidos.",
     "The name must contain at least 2 valid characters."},
    {"msg_space_image_too_large", "La imagen debe ser de 5 MB o menos.",
     "Image must be 5 MB or less."},
    {"msg_space_image_invalid", "Formato de imagen inválido. Usa PNG, JPG, JPEG, WEBP o GIF.",
     "Invalid image format. Use PNG, JPG, JPEG, WEBP or GIF."},
    {"msg_invite_code_invalid", "Formato de código de invitación inválido.",
     "Invalid invitation code format."},
    {"msg_join_code_required", "Ingresa un código de invitación.", "Enter an invitation code."},
    {"msg_join_code_failed", "No se pudo unir al espacio con el código",
     "Could not join space with code"},
    {"msg_chat_select_first", "Selecciona primero una sala.", "Select a room first."},
    {"msg_chat_select_room_first", "Selecciona una sala para ver o enviar mensajes en el chat.",
     "Select a room to see or send chat messages."},
    {"msg_chat_text_required", "Escribe un mensaje para enviar.", "Write a message to send."},
    {"msg_chat_send_failed", "No se pudo enviar el mensaje", "Could not send message"},
    {"msg_invite_email_required", "Ingresa un email para invitar.", "Enter an email to invite."},
    {"msg_invite_failed", "No se pudo enviar la invitación", "Could not send invitation"},
    {"msg_invite_sent", "Invitación enviada.", "Invitation sent."},
    {"msg_accept_invite_failed", "No se pudo aceptar la invitación", "Could not accept invitation"},
    {"msg_decline_invite_failed", "No se pudo rechazar la invitación",
     "Could not decline invitation"},
    {"msg_select_space_invite", "Selecciona un espacio para invitar usuarios.",
     "Select a space to invite users."},
    {"msg_select_space", "Selecciona un espacio para continuar.", "Select a space to continue."},
    {"msg_accept_invite_first", "Acepta la invitación antes de entrar a este espacio.",
     "Accept the invitation before entering this space."},
    {"msg_select_room", "Selecciona una sala para continuar.", "Select a room to continue."},
    {"msg_joined_room", "Te has unido a la sala %s", "You joined room %s"},
    {"msg_select_space_first", "Selecciona primero un espacio.", "Select a space first."},
    {"msg_enter_room_name", "Ingresa un nombre de sala.", "Enter a room name."},
    {"msg_create_room_failed", "No se pudo crear la sala", "Could not create room"},
    {"msg_create_room_success", "Sala creada con éxito.", "Room created successfully."},
    {"msg_delete_room_failed", "No se pudo eliminar la sala", "Could not delete room"},
    {"msg_delete_room_success", "Sala eliminada con éxito.", "Room deleted successfully."},
    {"msg_only_admin_action", "Solo el admin del espacio puede realizar esta acción.",
     "Only the space admin can do this action."},
    {"msg_confirm_room_name", "Escribe el nombre de la sala para confirmar.",
     "Type the room name to confirm."},
    {"msg_confirm_room_name_mismatch", "El nombre de sala tipeado no coincide.",
     "The typed room name does not match."},
    {"ctx_create_room_menu", "Crear Sala", "Create room"},
    {"ctx_delete_room_menu", "Eliminar sala", "Delete room"},
    {"ctx_create_room_popup_title", "Crear nueva sala", "Create new room"},
    {"ctx_create_space_popup_title", "Ingresa nombre del nuevo espacio",
     "Enter name for the new space"},
    {"ctx_delete_room_popup_title", "Eliminar sala", "Delete room"},
    {"ctx_delete_room_popup_hint", "Tipea el nombre de la sala para confirmar el borrado:",
     "Type the room name to confirm deletion:"},
    {"btn_cancel", "Cancelar", "Cancel"},
    {"logout_confirm_title", "Cerrar sesión", "Sign out"},
    {"logout_confirm_detail", "¿Deseas cerrar la sesión actual?",
     "Do you want to sign out from current account?"},
    {"hub_user_edit_name", "Editar nombre visible", "Edit display name"},
    {"hub_user_save_name", "Guardar nombre visible", "Save display name"},
    {"no", "No", "No"},
    {"yes", "Sí", "Yes"},
};

class LocalisationTable : public testing::Test {
  protected:
    void TearDown() override { g_language = k_language_spanish; }

    static const char* text_in(std::int32_t language, const char* key) {
        g_language = language;
        return tr(key);
    }
};

/// Where `text` has a printf conversion or any other percent sign, in order.
std::string conversions(std::string_view text) {
    std::string result;
    for (std::size_t at = text.find('%'); at != std::string_view::npos;
         at = text.find('%', at + 1)) {
        result += text.substr(at, 2);
    }
    return result;
}

TEST_F(LocalisationTable, HasItsRowsInTheirOrder) {
    ASSERT_EQ(std::size(k_text_rows), 179U);
    ASSERT_EQ(std::size(k_keys), 179U);
    for (std::size_t row = 0; row < std::size(k_keys); ++row) {
        EXPECT_EQ(k_text_rows[row].key, k_keys[row]) << "row " << row;
    }
}

TEST_F(LocalisationTable, IsFoundByEveryKeyInBothLanguages) {
    for (std::size_t row = 0; row < std::size(k_keys); ++row) {
        EXPECT_EQ(text_in(0, k_keys[row]), k_text_rows[row].spanish) << k_keys[row];
        EXPECT_EQ(text_in(1, k_keys[row]), k_text_rows[row].english) << k_keys[row];
    }
}

TEST_F(LocalisationTable, SaysWhatIsAgreed) {
    for (const Agreed& agreed : k_agreed) {
        EXPECT_STREQ(text_in(0, agreed.key), agreed.spanish) << agreed.key;
        EXPECT_STREQ(text_in(1, agreed.key), agreed.english) << agreed.key;
    }
}

TEST_F(LocalisationTable, HasLowerSnakeCaseKeys) {
    for (const TextRow& row : k_text_rows) {
        EXPECT_FALSE(row.key.empty());
        EXPECT_EQ(row.key.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), std::string_view::npos)
            << row.key;
    }
}

TEST_F(LocalisationTable, HasNoEmptyText) {
    for (const TextRow& row : k_text_rows) {
        EXPECT_STRNE(row.spanish, "") << row.key;
        EXPECT_STRNE(row.english, "") << row.key;
    }
}

TEST_F(LocalisationTable, HasBlanksAroundATextOnlyBeforeTheDefaultDevicesSuffix) {
    constexpr std::string_view k_blanks = " \t\r\n";
    for (const TextRow& row : k_text_rows) {
        for (const std::string_view text : {row.spanish, row.english}) {
            EXPECT_EQ(text.find_last_not_of(k_blanks), text.size() - 1) << row.key;
            const std::size_t expected_start = row.key == "dropdown_default_suffix" ? 1 : 0;
            EXPECT_EQ(text.find_first_not_of(k_blanks), expected_start) << row.key;
            EXPECT_EQ(text.find("  "), std::string_view::npos) << row.key;
        }
    }
}

TEST_F(LocalisationTable, HasOneConversionInTheTextsThatAreFilledAndNoneElsewhere) {
    const std::set<std::string_view> filled = {"status_in_channel", "msg_joined_room"};
    for (const TextRow& row : k_text_rows) {
        const std::string expected = filled.contains(row.key) ? "%s" : "";
        EXPECT_EQ(conversions(row.spanish), expected) << row.key;
        EXPECT_EQ(conversions(row.english), expected) << row.key;
    }
}

TEST_F(LocalisationTable, IsValidUtf8OnOneLine) {
    for (const TextRow& row : k_text_rows) {
        for (const char* const text : {row.spanish, row.english}) {
            EXPECT_TRUE(g_utf8_validate(text, -1, nullptr)) << row.key;
            for (const char* at = text; *at != '\0'; ++at) {
                EXPECT_GE(static_cast<unsigned char>(*at), 0x20U) << row.key;
            }
        }
    }
}

TEST_F(LocalisationTable, HasTheSameTextInBothLanguagesOnlyWhereThatIsMeant) {
    // The last two are Spanish and English at once.
    const std::set<std::string_view> expected = {"app_window_title",
                                                 "login_title",
                                                 "login_subtitle",
                                                 "login_user_label",
                                                 "register_user_label",
                                                 "login_backend_label",
                                                 "login_google_btn",
                                                 "register_back_btn",
                                                 "hub_space_info_label_motd",
                                                 "channel_general",
                                                 "msg_title_error",
                                                 "msg_title_google",
                                                 "msg_title_login",
                                                 "no"};
    std::set<std::string_view> same;
    for (const TextRow& row : k_text_rows) {
        if (std::string_view(row.spanish) == row.english) {
            same.insert(row.key);
        }
    }
    EXPECT_EQ(same, expected);
}

TEST_F(LocalisationTable, ShowsTheSameExampleAddressAtLoginAndRegistration) {
    for (const std::int32_t language : {0, 1}) {
        const std::string_view address = text_in(language, "login_user_placeholder");
        EXPECT_EQ(address, text_in(language, "register_user_placeholder"));
        EXPECT_TRUE(address.ends_with("@example.com")) << address;
    }
    EXPECT_STRNE(text_in(0, "login_user_placeholder"), text_in(1, "login_user_placeholder"));
}

} // namespace
