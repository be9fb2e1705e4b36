// The hub's list of spaces. Called when the backend's table was loaded.
#include "backend/hub_tables.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_internal.h"

#include <cstring>
#include <initializer_list>

namespace {

constexpr int k_row_spacing = 10;
constexpr int k_row_side_margin = 8;
constexpr int k_row_gap = 2;
constexpr int k_text_spacing = 4;
constexpr std::int32_t k_thumbnail_size = 36;

bool is_invitation(const HubSpace& space) {
    return std::strcmp(space.role, "invited") == 0 &&
           std::strcmp(space.invitationStatus, "pending") == 0;
}

GtkWidget* append_row_text(GtkWidget* box, const char* text,
                           std::initializer_list<const char*> classes) {
    GtkWidget* const label = gtk_label_new(display_text(text).c_str());
    gtk_widget_set_halign(label, GTK_ALIGN_START);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    for (const char* css_class : classes) {
        gtk_widget_add_css_class(label, css_class);
    }
    gtk_box_append(GTK_BOX(box), label);
    return label;
}

GtkWidget* create_space_contents(const HubSpace& space) {
    GtkWidget* const thumbnail = create_space_thumbnail_image(k_thumbnail_size);
    gtk_widget_set_size_request(thumbnail, k_thumbnail_size, k_thumbnail_size);
    gtk_widget_set_valign(thumbnail, GTK_ALIGN_START);

    GtkWidget* const texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_text_spacing);
    gtk_widget_set_hexpand(texts, TRUE);
    gtk_widget_set_valign(texts, GTK_ALIGN_CENTER);
    append_row_text(texts, space.name, {"settings-option-title", "hub-space-title"});
    if (is_invitation(space)) {
        // Spanish in both languages.
        append_row_text(texts, "Invitación pendiente", {"settings-option-desc"});
    }

    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_row_spacing);
    gtk_widget_add_css_class(box, "peer-item");
    gtk_widget_add_css_class(box, "hub-space-row");
    gtk_widget_set_margin_start(box, k_row_side_margin);
    gtk_widget_set_margin_end(box, k_row_side_margin);
    gtk_widget_set_margin_top(box, k_row_gap);
    gtk_widget_set_margin_bottom(box, k_row_gap);
    gtk_box_append(GTK_BOX(box), thumbnail);
    gtk_box_append(GTK_BOX(box), texts);
    return box;
}

// Indices are stored plus one: data that is not there reads as 0.
void set_row_index(GObject* row, const char* key, std::int32_t stored) {
    g_object_set_data(row, key, GINT_TO_POINTER(stored));
}

void set_row_text(GObject* row, const char* key, const char* text) {
    g_object_set_data_full(row, key, g_strdup(text), g_free);
}

GtkListBoxRow* append_space_row(std::int32_t index) {
    const HubSpace& space = g_hub_servers[index];
    GtkWidget* const row = gtk_list_box_row_new();
    gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), create_space_contents(space));
    GObject* const data = G_OBJECT(row);
    set_row_index(data, "space-index", index + 1);
    set_row_index(data, "room-index", 0);
    set_row_text(data, "chat-scope-type", "space");
    set_row_text(data, "chat-scope-id", space.id);
    set_row_text(data, "chat-title", space.name);
    gtk_list_box_append(GTK_LIST_BOX(g_servers_list), row);
    return GTK_LIST_BOX_ROW(row);
}

void remove_all_rows(GtkListBox* list) {
    while (GtkListBoxRow* const row = gtk_list_box_get_row_at_index(list, 0)) {
        gtk_list_box_remove(list, GTK_WIDGET(row));
    }
}

} // namespace

void refresh_hub_server_list() {
    if (g_servers_list == nullptr) {
        return;
    }
    GtkListBox* const list = GTK_LIST_BOX(g_servers_list);
    remove_all_rows(list);
    GtkListBoxRow* selected = nullptr;
    for (std::int32_t i = 0; i < g_hub_server_count; ++i) {
        GtkListBoxRow* const row = append_space_row(i);
        if (i == g_selected_server_index) {
            selected = row;
        }
    }
    gtk_list_box_select_row(list, selected); // null clears the selection
    update_hub_empty_state();
}

void update_hub_empty_state() {
    if (g_empty_spaces_box != nullptr) {
        gtk_widget_set_visible(g_empty_spaces_box, g_hub_server_count == 0);
    }
}
