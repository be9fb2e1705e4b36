// See storage/session_restore.h.
#include "storage/session_restore.h"

#include "backend/auth_api.h"
#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "storage/local_files.h"

bool try_auto_restore_session() {
    char saved_url[128];
    char saved_username[64];
    char saved_token[256];
    if (!load_local_session(saved_url, saved_username, saved_token)) {
        return false;
    }
    copy_text(g_backend_url, saved_url);
    sync_backend_realm_from_url(g_backend_url);
    sync_voice_server_from_backend_url(g_backend_url);

    char username[64] = "";
    char email[128] = "";
    char token[256] = "";
    char error[256] = "";
    if (!backend_auth_restore_session(saved_token, {username, email, token, error})) {
        clear_local_session();
        return false;
    }
    copy_text(g_username, first_filled(username, saved_username));
    // Without an e-mail the user name is shown in its place.
    copy_text(g_user_email, first_filled(email, saved_username));
    copy_text(g_session_token, first_filled(token, saved_token));

    save_local_session(g_backend_url, g_username, g_session_token);
    backend_load_spaces(error);
    return !is_empty(g_username);
}
