// The column of the selected space's members. See ui/hub/space_users_internal.h.
#include "ui/hub/space_users_internal.h"

#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/kept_rows.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

#include <cstring>
#include <span>
#include <string>

namespace {

constexpr int k_row_spacing = 3;
constexpr int k_row_side_margin = 6;
constexpr int k_row_gap = 3;
constexpr int k_line_spacing = 8;

/// A row as a value (see ui/kept_rows.h).
struct SpaceUserRow {
    std::string user_id;
    std::string text;
    std::string detail;
    std::string button_text; ///< empty: no button

    bool operator==(const SpaceUserRow&) const = default;
    bool stands_for_same(const SpaceUserRow& other) const {
        return user_id == other.user_id && detail == other.detail;
    }
    bool has_same_widgets(const SpaceUserRow& other) const {
        return button_text.empty() == other.button_text.empty();
    }
    GtkWidget* create_widget() const;
    void update_widget(GtkWidget* row) const;
};

GtkWidget* append_name(GtkWidget* line) {
    GtkWidget* const name = append_label(line, "", {"settings-option-title"});
    gtk_widget_set_halign(name, GTK_ALIGN_START);
    gtk_widget_set_hexpand(name, TRUE);
    gtk_label_set_ellipsize(GTK_LABEL(name), PANGO_ELLIPSIZE_END);
    gtk_label_set_single_line_mode(GTK_LABEL(name), TRUE);
    tell_cut_text(name);
    return name;
}

void append_detail(GtkWidget* box) {
    GtkWidget* const detail = append_label(box, "", {"settings-option-desc"});
    gtk_widget_set_halign(detail, GTK_ALIGN_START);
    gtk_label_set_xalign(GTK_LABEL(detail), 0.0F);
    gtk_label_set_wrap(GTK_LABEL(detail), TRUE);
    gtk_label_set_wrap_mode(GTK_LABEL(detail), PANGO_WRAP_WORD_CHAR);
}

void append_stream_button(GtkWidget* line) {
    GtkWidget* const button = create_text_button(
        "", "suggested-action", G_CALLBACK(on_hub_space_user_stream_action_clicked));
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    g_object_set_data_full(G_OBJECT(button), "stream-user-id", g_strdup(STREAM_SELF_TARGET_ID),
                           g_free);
    gtk_box_append(GTK_BOX(line), button);
}

GtkWidget* SpaceUserRow::create_widget() const {
    GtkWidget* const box = create_box(GTK_ORIENTATION_VERTICAL, k_row_spacing, "peer-item");
    gtk_widget_set_margin_start(box, k_row_side_margin);
    gtk_widget_set_margin_end(box, k_row_side_margin);
    gtk_widget_set_margin_top(box, k_row_gap);
    gtk_widget_set_margin_bottom(box, k_row_gap);
    GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_line_spacing);
    gtk_widget_set_hexpand(line, TRUE);
    GtkWidget* const name = append_name(line);
    if (!button_text.empty()) {
        append_stream_button(line);
    }
    gtk_box_append(GTK_BOX(box), line);
    append_detail(box);
    GtkWidget* const row = create_reading_row(box);
    set_labelled_by(row, name);
    update_widget(row);
    return row;
}

void SpaceUserRow::update_widget(GtkWidget* row) const {
    GtkWidget* const line =
        gtk_widget_get_first_child(gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row)));
    GtkWidget* const name = gtk_widget_get_first_child(line);
    gtk_label_set_text(GTK_LABEL(name), text.c_str());
    gtk_label_set_text(GTK_LABEL(gtk_widget_get_next_sibling(line)), detail.c_str());
    if (!button_text.empty()) {
        gtk_button_set_label(GTK_BUTTON(gtk_widget_get_next_sibling(name)), button_text.c_str());
    }
}

bool are_same(const char* a, const char* b) {
    return !is_empty(a) && !is_empty(b) && std::strcmp(a, b) == 0;
}

bool are_same_ignoring_case(const char* a, const char* b) {
    return !is_empty(a) && !is_empty(b) && g_ascii_strcasecmp(a, b) == 0;
}

bool is_signed_in_user(const HubSpaceUser& user) {
    return are_same(g_user_id, user.id) || are_same_ignoring_case(g_user_email, user.email) ||
           are_same_ignoring_case(g_username, user.username);
}

// Who shares the screen may stop only where they may begin.
std::string stream_button_text() {
    if (!g_is_connected || is_empty(g_hub_presence_room_id)) {
        return {};
    }
    return tr(g_hub_local_streaming ? "hub_stream_stop_btn" : "hub_stream_share_btn");
}

SpaceUserRow row_of(const HubSpaceUser& user, const char* admin_id) {
    const bool is_user = is_signed_in_user(user);
    const char* name = first_filled(user.displayName, first_filled(user.username, "-"));
    if (is_user) {
        name = first_filled(get_shown_display_name(), name);
    }
    char text[192];
    format_text(text, "%s%s%s%s", name, is_user ? " " : "", is_user ? tr("hub_you_suffix") : "",
                are_same(admin_id, user.id) ? " <Admin>" : "");
    return {user.id, display_text(text), display_text(first_filled(user.email, user.username)),
            is_user ? stream_button_text() : std::string()};
}

std::string admin_of_listed_space() {
    const std::int32_t index = hub_space_index_of_id(g_hub_space_users_space_id);
    const HubSpace* const space = hub_space_at(index);
    return space != nullptr && !is_empty(g_hub_space_users_space_id) ? space->adminUserId : "";
}

std::span<HubSpaceUser> listed_users() {
    return {g_hub_space_users, static_cast<std::size_t>(g_hub_space_user_count)};
}

void show_empty_label() {
    if (g_hub_space_users_empty_label == nullptr) {
        return;
    }
    const bool is_empty_space =
        !is_empty(g_hub_space_users_space_id) && g_hub_space_user_count == 0;
    gtk_label_set_text(GTK_LABEL(g_hub_space_users_empty_label),
                       tr(is_empty_space ? "hub_space_users_none" : "hub_space_users_empty"));
    gtk_widget_set_visible(g_hub_space_users_empty_label, g_hub_space_user_count == 0);
}

void on_members_loaded() {
    store_current_space_users_in_cache(g_hub_space_users_space_id);
    refresh_hub_space_users_list();
    refresh_peers_list(); // the names there tell who streams
}

} // namespace

GtkWidget* g_hub_space_users_title_label = nullptr;
GtkWidget* g_hub_space_users_empty_label = nullptr;
GtkWidget* g_hub_space_users_list = nullptr;

void append_space_users(GtkWidget* column) {
    keep(g_hub_space_users_title_label,
         append_caption(column, tr("hub_space_users_title"), {"settings-option-title"}));
    keep(g_hub_space_users_empty_label, append_label(column, "", {"settings-option-desc"}));
    GtkLabel* const empty = GTK_LABEL(g_hub_space_users_empty_label);
    gtk_label_set_xalign(empty, 0.0F);
    gtk_label_set_wrap(empty, TRUE);
    gtk_label_set_max_width_chars(empty, 1); // it takes the column's width, and does not widen it

    keep(g_hub_space_users_list, gtk_list_box_new());
    gtk_widget_add_css_class(g_hub_space_users_list, "peer-list");
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(g_hub_space_users_list), GTK_SELECTION_NONE);
    set_labelled_by(g_hub_space_users_list, g_hub_space_users_title_label);
    GtkWidget* const scrolled = create_vertical_scroller(g_hub_space_users_list);
    gtk_widget_set_vexpand(scrolled, TRUE);
    gtk_box_append(GTK_BOX(column), scrolled);
    Backend_SetMembersLoadedCallback(on_members_loaded);
    refresh_hub_space_users_list();
}

void refresh_hub_space_users_list() {
    if (g_hub_space_users_list == nullptr) {
        return;
    }
    const std::string admin = admin_of_listed_space();
    std::vector<SpaceUserRow> rows;
    for (const HubSpaceUser& user : listed_users()) {
        rows.push_back(row_of(user, admin.c_str()));
    }
    show_empty_label();
    show_rows(GTK_LIST_BOX(g_hub_space_users_list), std::move(rows));
}

void clear_hub_space_users() {
    g_hub_space_user_count = 0;
    g_hub_space_users_space_id[0] = '\0';
    clear_hub_stream_state_for_space_change();
    refresh_hub_space_users_list();
}

void refresh_current_user_display_name_in_space_users() {
    bool has_changed = false;
    for (HubSpaceUser& user : listed_users()) {
        char name[sizeof(user.displayName)];
        copy_text(name, get_shown_display_name());
        if (is_signed_in_user(user) && std::strcmp(user.displayName, name) != 0) {
            copy_text(user.displayName, name);
            has_changed = true;
        }
    }
    if (has_changed) {
        store_current_space_users_in_cache(g_hub_space_users_space_id);
        refresh_hub_space_users_list();
    }
}
