// A list box that is filled anew from values, and whose rows are kept where they can show what has
// come. Called by the hub's list, the rooms page and the room's participants. Main thread.
//
// A `Row` is one row as a value: what is to be seen of it follows from that, or is minded by its
// list all the same, as the dot that moves with the own voice. It has an ==, and stands_for_same()
// for the row of the same space, room or person, has_same_widgets() for one whose widgets can show
// it, create_widget() and update_widget().
#pragma once

#include "ui/ui_internal.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

/// The list's row that has the keyboard, or within which it is; null for none.
GtkListBoxRow* focused_row(GtkListBox* list);

/// Of what the list scrolls in; null where it does not.
GtkAdjustment* list_scrolling(GtkListBox* list);

/// What the list's rows show at the moment, row by row; gone with the list.
template <typename Row>
std::vector<Row>& shown_rows(GtkListBox* list) {
    constexpr const char* k_key = "kept-rows";
    auto* rows = static_cast<std::vector<Row>*>(g_object_get_data(G_OBJECT(list), k_key));
    if (rows == nullptr) {
        rows = new std::vector<Row>; // the list owns it
        g_object_set_data_full(G_OBJECT(list), k_key, rows,
                               [](gpointer data) { delete static_cast<std::vector<Row>*>(data); });
    }
    return *rows;
}

/// Keeps the keyboard on the row of the same space, room or person, or on the button in it, and the
/// list where it was scrolled to, while rows are replaced.
template <typename Row>
class ReadersPlace {
  public:
    ReadersPlace(GtkListBox* list, const std::vector<Row>& shown)
        : m_list(list), m_scrolling(list_scrolling(list)) {
        if (m_scrolling != nullptr) {
            m_scrolled_to = gtk_adjustment_get_value(m_scrolling);
        }
        if (GtkListBoxRow* const row = focused_row(list)) {
            m_focused = row_at(shown, row);
            m_focused_at = gtk_list_box_row_get_index(row);
            m_is_within = gtk_widget_is_focus(GTK_WIDGET(row)) == FALSE;
        }
    }

    void restore(const std::vector<Row>& shown) const {
        GtkListBoxRow* const focused = focused_row(m_list);
        if (m_focused.has_value() &&
            (focused == nullptr || !row_at(shown, focused).stands_for_same(*m_focused))) {
            focus_row(shown);
            if (m_scrolling != nullptr) { // that took the list to rows that have no place yet
                gtk_adjustment_set_value(m_scrolling, m_scrolled_to);
            }
        }
    }

  private:
    static const Row& row_at(const std::vector<Row>& shown, GtkListBoxRow* row) {
        return shown.at(static_cast<std::size_t>(gtk_list_box_row_get_index(row)));
    }

    void focus_row(const std::vector<Row>& shown) const {
        const auto same = std::ranges::find_if(
            shown, [this](const Row& row) { return row.stands_for_same(*m_focused); });
        if (same == shown.end()) {
            focus_successor(static_cast<int>(shown.size()));
            return;
        }
        GtkListBoxRow* const row =
            gtk_list_box_get_row_at_index(m_list, static_cast<int>(same - shown.begin()));
        if (!m_is_within ||
            !gtk_widget_child_focus(gtk_list_box_row_get_child(row), GTK_DIR_TAB_FORWARD)) {
            gtk_widget_grab_focus(GTK_WIDGET(row));
        }
    }

    // To the selected row, else to the one that has taken the place.
    void focus_successor(int count) const {
        if (count > 0 && gtk_list_box_get_selected_row(m_list) == nullptr) {
            gtk_widget_grab_focus(GTK_WIDGET(
                gtk_list_box_get_row_at_index(m_list, std::min(m_focused_at, count - 1))));
        } else {
            focus_list(GTK_WIDGET(m_list));
        }
    }

    GtkListBox* m_list;
    GtkAdjustment* m_scrolling;
    double m_scrolled_to = 0.0;
    std::optional<Row> m_focused;
    int m_focused_at = 0;
    bool m_is_within = false;
};

/// The rows before the first and behind the last change stay as they are, and of those between
/// widgets that can show what has come: a change as small as somebody speaking must not cost a
/// thousand widgets, nor the click that is just being made.
template <typename Row>
void replace_rows(GtkListBox* list, const std::vector<Row>& shown, const std::vector<Row>& rows) {
    const auto change = std::ranges::mismatch(shown, rows);
    const auto same_end = std::mismatch(shown.rbegin(), std::make_reverse_iterator(change.in1),
                                        rows.rbegin(), std::make_reverse_iterator(change.in2));
    auto old_row = change.in1;
    auto row = change.in2;
    const auto position_of = [&rows](auto place) { return static_cast<int>(place - rows.begin()); };
    const auto widget_at = [list](int position) {
        return GTK_WIDGET(gtk_list_box_get_row_at_index(list, position));
    };
    for (; old_row != same_end.first.base() && row != same_end.second.base(); ++old_row, ++row) {
        const int position = position_of(row);
        if (row->has_same_widgets(*old_row)) {
            row->update_widget(widget_at(position));
        } else {
            gtk_list_box_remove(list, widget_at(position));
            gtk_list_box_insert(list, row->create_widget(), position);
        }
    }
    for (; old_row != same_end.first.base(); ++old_row) {
        gtk_list_box_remove(list, widget_at(position_of(row)));
    }
    for (; row != same_end.second.base(); ++row) {
        gtk_list_box_insert(list, row->create_widget(), position_of(row));
    }
}

/// Makes the list show the rows and select the first that `is_selected` names, or none. The caller
/// minds that this is no choice of the user's.
template <typename Row, typename Predicate>
void show_rows(GtkListBox* list, std::vector<Row> rows, Predicate is_selected) {
    std::vector<Row>& shown = shown_rows<Row>(list);
    const ReadersPlace<Row> place(list, shown);
    replace_rows(list, shown, rows);
    shown = std::move(rows);
    const auto selected = std::ranges::find_if(shown, is_selected);
    gtk_list_box_select_row(
        list, selected != shown.end()
                  ? gtk_list_box_get_row_at_index(list, static_cast<int>(selected - shown.begin()))
                  : nullptr);
    place.restore(shown);
}

/// Of a list that selects nothing.
template <typename Row>
void show_rows(GtkListBox* list, std::vector<Row> rows) {
    show_rows(list, std::move(rows), [](const Row&) { return false; });
}
