// See ui/hub/room_rows_internal.h.
#include "ui/hub/room_rows_internal.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/widgets.h"

namespace {

constexpr int k_text_spacing = 2;
constexpr int k_room_margin = 8;
constexpr int k_room_gap = 6;
constexpr int k_presence_spacing = 8;
constexpr int k_presence_indent = 28;
constexpr int k_presence_gap = 2;

std::string line_of(const HubRoom& room) {
    char line[192];
    format_text(line, "Usuarios: %d · %s", room.userCount, room.description);
    return line;
}

void append_presence(const std::string& room_id, std::vector<RoomListRow>& rows) {
    for (std::int32_t i = 0; i < g_hub_room_presence_count; ++i) {
        const HubPresence& person = g_hub_room_presence[i];
        rows.push_back({-1, room_id, person.username, "", person.speaking});
    }
}

} // namespace

std::vector<RoomListRow> room_list_rows() {
    std::vector<RoomListRow> rows;
    for (std::int32_t i = 0; i < g_hub_room_count; ++i) {
        const HubRoom& room = g_hub_rooms[i];
        rows.push_back({i, room.id, room.name, line_of(room), false});
        if (!is_empty(g_hub_presence_room_id) && rows.back().room_id == g_hub_presence_room_id) {
            append_presence(room.id, rows);
        }
    }
    return rows;
}

bool RoomListRow::stands_for_same(const RoomListRow& other) const {
    return is_room() == other.is_room() && room_id == other.room_id &&
           (is_room() || name == other.name);
}

bool RoomListRow::has_same_widgets(const RoomListRow& other) const {
    return is_room() == other.is_room();
}

GtkWidget* RoomListRow::create_widget() const {
    GtkWidget* widget = nullptr;
    if (is_room()) {
        GtkWidget* const box =
            create_row_box(GTK_ORIENTATION_VERTICAL, k_text_spacing, k_room_margin, k_room_gap);
        append_caption(box, "", {"settings-option-title"});
        append_caption(box, "", {"settings-option-desc"});
        widget = create_list_row(box);
        gtk_widget_add_css_class(widget, "hub-room-row");
    } else {
        GtkWidget* const box = create_row_box(GTK_ORIENTATION_HORIZONTAL, k_presence_spacing,
                                              k_presence_indent, k_presence_gap);
        append_speaking_dot(box, speaking);
        append_caption(box, "", {"settings-option-desc"});
        widget = create_reading_row(box);
    }
    update_widget(widget);
    return widget;
}

void RoomListRow::update_widget(GtkWidget* widget) const {
    GtkWidget* const first =
        gtk_widget_get_first_child(gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(widget)));
    GtkWidget* const second = gtk_widget_get_next_sibling(first);
    if (is_room()) {
        gtk_label_set_text(GTK_LABEL(first), display_text(name.c_str()).c_str());
        gtk_label_set_text(GTK_LABEL(second), display_text(line.c_str()).c_str());
        set_row_index(widget, "room-index", room_index);
    } else {
        show_speaking(first, speaking);
        gtk_label_set_text(GTK_LABEL(second), display_text(name.c_str()).c_str());
    }
}
