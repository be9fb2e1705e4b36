// One row of the hub's list: what it shows, and its widget. Called by the list.
#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <string>
#include <vector>

/// All that a row's looks and its data follow from: rows that are equal look the same.
struct HubListRow {
    enum class Kind { space, room, presence };

    Kind kind;
    std::int32_t space_index;
    std::int32_t room_index; ///< -1 but for a room
    std::string space_id;
    std::string room_id; ///< of a space: empty
    std::string name;    ///< of the space, the room or the person; any bytes
    bool mark;           ///< a space: an invitation is pending; a person: speaks
    std::string picture; ///< of a space: what its picture follows from

    bool operator==(const HubListRow&) const = default;

    /// Whether this is the row of the same space, room or person.
    bool stands_for_same(const HubListRow& other) const;

    /// Whether the other's widgets can show this row.
    bool has_same_widgets(const HubListRow& other) const;

    /// A new row, with the data that the list's handlers read.
    GtkWidget* create_widget() const;

    /// Makes a row of the same widgets show this one, which is many times as fast.
    void update_widget(GtkWidget* widget) const;
};

/// What the list has to show, in order: the spaces, their rooms as far as they are cached, who is
/// present.
std::vector<HubListRow> hub_list_rows();
