// One row of the rooms page's list: what it shows, and its widget. Called by the page.
#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <string>
#include <vector>

/// A room, or a person in the voice room, as a value (see ui/kept_rows.h).
struct RoomListRow {
    std::int32_t room_index; ///< -1 for a person
    std::string room_id;
    std::string name; ///< of the room or the person; any bytes
    std::string line; ///< below a room's name
    bool speaking;    ///< a person

    bool operator==(const RoomListRow&) const = default;

    bool is_room() const { return room_index >= 0; }
    bool stands_for_same(const RoomListRow& other) const;
    bool has_same_widgets(const RoomListRow& other) const;

    /// A new row; that of a room has its index as "room-index".
    GtkWidget* create_widget() const;
    void update_widget(GtkWidget* widget) const;
};

/// What the list has to show, in order: the rooms of the rooms table, and below one of them who is
/// present.
std::vector<RoomListRow> room_list_rows();
