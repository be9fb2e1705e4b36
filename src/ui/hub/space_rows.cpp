// See ui/hub/space_rows_internal.h.
#include "ui/hub/space_rows_internal.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_images_internal.h"
#include "ui/widgets.h"

#include <initializer_list>

namespace {

constexpr int k_row_spacing = 10;
constexpr int k_row_start_margin = 8;
constexpr int k_text_spacing = 4;
constexpr std::int32_t k_thumbnail_size = 36;
constexpr int k_room_spacing = 8;
constexpr int k_room_indent = 28;
constexpr int k_presence_indent = 48;
constexpr int k_row_gap = 2;
constexpr int k_presence_gap = 1;

void show_name(GtkWidget* label, const std::string& name) {
    gtk_label_set_text(GTK_LABEL(label), display_text(name.c_str()).c_str());
}

GtkWidget* append_name(GtkWidget* box, const std::string& name,
                       std::initializer_list<const char*> classes) {
    GtkWidget* const label = append_label(box, "", classes);
    gtk_widget_set_halign(label, GTK_ALIGN_START);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    tell_cut_text(label);
    show_name(label, name);
    return label;
}

// Behind the picture, the bullet or the dot.
GtkWidget* name_label_of(GtkListBoxRow* row) {
    GtkWidget* const last = gtk_widget_get_last_child(gtk_list_box_row_get_child(row));
    return GTK_IS_LABEL(last) ? last : gtk_widget_get_first_child(last);
}

GtkWidget* create_space_contents(const HubListRow& row) {
    GtkWidget* const thumbnail =
        create_space_thumbnail_for_server(hub_space_at(row.space_index), k_thumbnail_size);
    gtk_widget_set_size_request(thumbnail, k_thumbnail_size, k_thumbnail_size);
    gtk_widget_set_valign(thumbnail, GTK_ALIGN_START);

    GtkWidget* const texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_text_spacing);
    gtk_widget_set_hexpand(texts, TRUE);
    gtk_widget_set_valign(texts, GTK_ALIGN_CENTER);
    append_name(texts, row.name, {"settings-option-title", "hub-space-title"});
    if (row.mark) {
        // Spanish in both languages.
        GtkWidget* const note =
            append_label(texts, "Invitación pendiente", {"settings-option-desc"});
        gtk_widget_set_halign(note, GTK_ALIGN_START);
    }

    GtkWidget* const box =
        create_row_box(GTK_ORIENTATION_HORIZONTAL, k_row_spacing, k_row_start_margin, k_row_gap);
    gtk_widget_add_css_class(box, "peer-item");
    gtk_widget_add_css_class(box, "hub-space-row");
    gtk_box_append(GTK_BOX(box), thumbnail);
    gtk_box_append(GTK_BOX(box), texts);
    return box;
}

GtkWidget* create_room_contents(const HubListRow& row) {
    GtkWidget* const box =
        create_row_box(GTK_ORIENTATION_HORIZONTAL, k_room_spacing, k_room_indent, k_row_gap);
    gtk_widget_add_css_class(box, "hub-room-row");
    append_label(box, "•", {"hub-room-bullet"});
    GtkWidget* const name = append_name(box, row.name, {"hub-room-title"});
    gtk_widget_set_hexpand(name, TRUE);
    return box;
}

GtkWidget* create_presence_contents(const HubListRow& row) {
    GtkWidget* const box = create_row_box(GTK_ORIENTATION_HORIZONTAL, k_room_spacing,
                                          k_presence_indent, k_presence_gap);
    gtk_widget_add_css_class(box, "hub-room-row");
    append_speaking_dot(box, row.mark);
    GtkWidget* const name = append_name(box, row.name, {"settings-option-desc"});
    gtk_widget_set_hexpand(name, TRUE);
    return box;
}

void set_text(GtkWidget* row, const char* key, const std::string& text) {
    g_object_set_data_full(G_OBJECT(row), key, g_strdup(text.c_str()), g_free);
}

void set_row_data(GtkWidget* widget, const HubListRow& row) {
    set_row_index(widget, "space-index", row.space_index);
    if (row.kind != HubListRow::Kind::presence) {
        const bool is_space = row.kind == HubListRow::Kind::space;
        set_row_index(widget, "room-index", row.room_index);
        set_text(widget, "space-id",
                 row.space_id); // the index changes with the next list of spaces
        set_text(widget, "chat-scope-type", is_space ? "space" : "room");
        set_text(widget, "chat-scope-id", is_space ? row.space_id : row.room_id);
        set_text(widget, "chat-title", row.name);
    }
}

void append_presence(const HubListRow& room, std::vector<HubListRow>& rows) {
    for (std::int32_t i = 0; i < g_hub_room_presence_count; ++i) {
        const HubPresence& person = g_hub_room_presence[i];
        rows.push_back({HubListRow::Kind::presence, room.space_index, -1, room.space_id,
                        room.room_id, person.username, person.speaking, ""});
    }
}

} // namespace

bool HubListRow::stands_for_same(const HubListRow& other) const {
    return kind == other.kind && space_id == other.space_id && room_id == other.room_id &&
           (kind != Kind::presence || name == other.name);
}

std::vector<HubListRow> hub_list_rows() {
    std::vector<HubListRow> rows;
    for (std::int32_t i = 0; i < g_hub_server_count; ++i) {
        const HubSpace& space = g_hub_servers[i];
        rows.push_back({HubListRow::Kind::space, i, -1, space.id, "", space.name,
                        is_pending_invitation(space), space_picture_identity(space)});
        if (!space.roomsCached) {
            continue;
        }
        for (std::int32_t j = 0; j < space.cachedRoomCount; ++j) {
            const HubRoom& room = space.cachedRooms[j];
            const HubListRow row{
                HubListRow::Kind::room, i, j, space.id, room.id, room.name, false, ""};
            rows.push_back(row);
            if (!is_empty(g_hub_presence_room_id) && row.room_id == g_hub_presence_room_id) {
                append_presence(row, rows);
            }
        }
    }
    return rows;
}

bool HubListRow::has_same_widgets(const HubListRow& other) const {
    return kind == other.kind &&
           (kind != Kind::space ||
            (mark == other.mark && space_id == other.space_id && picture == other.picture));
}

GtkWidget* HubListRow::create_widget() const {
    GtkWidget* widget = nullptr;
    switch (kind) {
    case Kind::space:
        widget = create_list_row(create_space_contents(*this));
        break;
    case Kind::room:
        widget = create_list_row(create_room_contents(*this));
        break;
    case Kind::presence:
        widget = create_reading_row(create_presence_contents(*this));
        break;
    }
    set_row_data(widget, *this);
    return widget;
}

void HubListRow::update_widget(GtkWidget* widget) const {
    GtkListBoxRow* const list_row = GTK_LIST_BOX_ROW(widget);
    show_name(name_label_of(list_row), name);
    if (kind == Kind::presence) {
        show_speaking(gtk_widget_get_first_child(gtk_list_box_row_get_child(list_row)), mark);
    }
    set_row_data(widget, *this);
}
