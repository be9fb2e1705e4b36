// Who is signed in, as the hub shows it. Called by the shell.
#include "backend/identity.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_internal.h"

const char* get_shown_display_name() {
    if (!is_empty(g_display_name)) {
        return g_display_name;
    }
    return is_empty(g_username) ? "-" : g_username;
}

void refresh_hub_user_profile() {
    if (g_hub_user_name_label != nullptr) {
        gtk_label_set_text(GTK_LABEL(g_hub_user_name_label),
                           display_text(get_shown_display_name()).c_str());
    }
    if (g_hub_user_email_label != nullptr) {
        gtk_label_set_text(GTK_LABEL(g_hub_user_email_label),
                           is_empty(g_user_email) ? "-" : display_text(g_user_email).c_str());
    }
}
