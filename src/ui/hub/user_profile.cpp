// Who is signed in, as the hub shows it. Called by the shell.
#include "backend/identity.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_internal.h"

#include <string>

namespace {

// What is too long for its column stands in the tooltip.
void show_whole(GtkWidget* label, const char* text) {
    if (label != nullptr) {
        const std::string shown = display_text(text);
        gtk_label_set_text(GTK_LABEL(label), shown.c_str());
        gtk_widget_set_tooltip_text(label, shown.c_str());
    }
}

} // namespace

const char* get_shown_display_name() {
    if (!is_empty(g_display_name)) {
        return g_display_name;
    }
    return is_empty(g_username) ? "-" : g_username;
}

void refresh_hub_user_profile() {
    show_whole(g_hub_user_name_label, get_shown_display_name());
    show_whole(g_hub_user_email_label, is_empty(g_user_email) ? "-" : g_user_email);
}
