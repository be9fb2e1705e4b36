// The hub's list of spaces, rooms and who is present. Called after every change of what it shows.
#include "ui/hub/hub_internal.h"
#include "ui/hub/space_rows_internal.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>

namespace {

constexpr const char* k_rows_key = "hub-list-rows";

// What the list's rows show at the moment, row by row; gone with the list.
std::vector<HubListRow>& rows_of(GObject* list) {
    auto* rows = static_cast<std::vector<HubListRow>*>(g_object_get_data(list, k_rows_key));
    if (rows == nullptr) {
        rows = new std::vector<HubListRow>; // the list owns it
        g_object_set_data_full(list, k_rows_key, rows, [](gpointer data) {
            delete static_cast<std::vector<HubListRow>*>(data);
        });
    }
    return *rows;
}

GtkWidget* focused_row() {
    GtkWidget* const focus =
        g_window != nullptr ? gtk_window_get_focus(GTK_WINDOW(g_window)) : nullptr;
    GtkWidget* const row =
        focus != nullptr ? gtk_widget_get_ancestor(focus, GTK_TYPE_LIST_BOX_ROW) : nullptr;
    return row != nullptr && gtk_widget_get_parent(row) == g_servers_list ? row : nullptr;
}

const HubListRow& row_at(const std::vector<HubListRow>& shown, GtkWidget* row) {
    return shown.at(static_cast<std::size_t>(gtk_list_box_row_get_index(GTK_LIST_BOX_ROW(row))));
}

GtkAdjustment* scroll_position() {
    GtkWidget* const scrolled = gtk_widget_get_ancestor(g_servers_list, GTK_TYPE_SCROLLED_WINDOW);
    return scrolled != nullptr ? gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scrolled))
                               : nullptr;
}

// Keeps the keyboard on the row of the same space, room or person, and the list where it was
// scrolled to, while rows are replaced.
class ReadersPlace {
  public:
    explicit ReadersPlace(const std::vector<HubListRow>& shown) : m_adjustment(scroll_position()) {
        if (m_adjustment != nullptr) {
            m_scrolled_to = gtk_adjustment_get_value(m_adjustment);
        }
        if (GtkWidget* const row = focused_row()) {
            m_focused = shown.at(
                static_cast<std::size_t>(gtk_list_box_row_get_index(GTK_LIST_BOX_ROW(row))));
        }
    }

    void restore(const std::vector<HubListRow>& shown) const {
        GtkWidget* const focused = focused_row();
        if (m_focused.has_value() &&
            (focused == nullptr || !row_at(shown, focused).stands_for_same(*m_focused))) {
            focus_row(shown);
        }
        if (m_adjustment != nullptr) { // the focus took the list to rows that have no place yet
            gtk_adjustment_set_value(m_adjustment, m_scrolled_to);
        }
    }

  private:
    void focus_row(const std::vector<HubListRow>& shown) const {
        const auto same = std::ranges::find_if(
            shown, [this](const HubListRow& row) { return row.stands_for_same(*m_focused); });
        if (same == shown.end()) {
            focus_spaces_list();
            return;
        }
        gtk_widget_grab_focus(GTK_WIDGET(gtk_list_box_get_row_at_index(
            GTK_LIST_BOX(g_servers_list), static_cast<int>(same - shown.begin()))));
    }

    GtkAdjustment* m_adjustment;
    double m_scrolled_to = 0.0;
    std::optional<HubListRow> m_focused;
};

// The rows before the first and behind the last change stay as they are, and of those between
// widgets that can show what has come: a change as small as somebody speaking must not cost a
// thousand widgets, nor the click that is just being made.
void show_rows(GtkListBox* list, const std::vector<HubListRow>& shown,
               const std::vector<HubListRow>& rows) {
    const auto change = std::ranges::mismatch(shown, rows);
    const auto same_end = std::mismatch(shown.rbegin(), std::make_reverse_iterator(change.in1),
                                        rows.rbegin(), std::make_reverse_iterator(change.in2));
    auto old_row = change.in1;
    auto row = change.in2;
    const auto position_of = [&rows](auto place) { return static_cast<int>(place - rows.begin()); };
    const auto remove_at = [list](int position) {
        gtk_list_box_remove(list, GTK_WIDGET(gtk_list_box_get_row_at_index(list, position)));
    };
    for (; old_row != same_end.first.base() && row != same_end.second.base(); ++old_row, ++row) {
        const int position = position_of(row);
        if (row->has_same_widgets(*old_row)) {
            update_hub_list_row(GTK_WIDGET(gtk_list_box_get_row_at_index(list, position)), *row);
        } else {
            remove_at(position);
            gtk_list_box_insert(list, create_hub_list_row(*row), position);
        }
    }
    for (; old_row != same_end.first.base(); ++old_row) {
        remove_at(position_of(row));
    }
    for (; row != same_end.second.base(); ++row) {
        gtk_list_box_insert(list, create_hub_list_row(*row), position_of(row));
    }
}

GtkListBoxRow* row_of_selected_space(GtkListBox* list, const std::vector<HubListRow>& shown) {
    const auto selected = std::ranges::find_if(shown, [](const HubListRow& row) {
        return row.kind == HubListRow::Kind::space && row.space_index == g_selected_server_index;
    });
    return selected != shown.end()
               ? gtk_list_box_get_row_at_index(list, static_cast<int>(selected - shown.begin()))
               : nullptr;
}

// The removal of a row is the only thing that makes GTK forget that the cursor is on it.
gboolean take_cursor_off(gpointer removed_row) {
    GtkWidget* const row = GTK_WIDGET(removed_row);
    if (g_servers_list == nullptr || gtk_widget_get_parent(row) != nullptr) {
        return G_SOURCE_REMOVE;
    }
    const bool was_refreshing = std::exchange(g_refreshing_hub_list, true);
    gtk_list_box_append(GTK_LIST_BOX(g_servers_list), row);
    gtk_list_box_remove(GTK_LIST_BOX(g_servers_list), row);
    if (GtkWidget* const focused = focused_row()) {
        gtk_widget_grab_focus(focused); // the cursor goes where the keyboard is
    }
    g_refreshing_hub_list = was_refreshing;
    return G_SOURCE_REMOVE;
}

} // namespace

bool g_refreshing_hub_list = false;

void take_list_cursor_off_removed_row(GtkListBoxRow* row) {
    if (g_servers_list != nullptr && gtk_widget_get_parent(GTK_WIDGET(row)) == nullptr) {
        g_idle_add_full(G_PRIORITY_HIGH, take_cursor_off, g_object_ref(row), g_object_unref);
    }
}

void refresh_hub_server_list() {
    if (g_servers_list == nullptr) {
        return;
    }
    const bool was_refreshing = std::exchange(g_refreshing_hub_list, true);
    GtkListBox* const list = GTK_LIST_BOX(g_servers_list);
    std::vector<HubListRow>& shown = rows_of(G_OBJECT(list));
    const ReadersPlace place(shown);

    std::vector<HubListRow> rows = hub_list_rows();
    show_rows(list, shown, rows);
    shown = std::move(rows);
    gtk_list_box_select_row(list, row_of_selected_space(list, shown)); // null: none
    place.restore(shown);

    g_refreshing_hub_list = was_refreshing;
    update_hub_space_actions();
    update_hub_empty_state();
}

void update_hub_empty_state() {
    if (g_empty_spaces_box != nullptr) {
        gtk_widget_set_visible(g_empty_spaces_box, g_hub_server_count == 0);
    }
}
