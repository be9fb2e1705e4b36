// The small widgets that pages and rows are built of. Called by whoever builds one. Main thread;
// what is appended belongs to its box, what is created to whoever takes it.
#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <initializer_list>

/// The same margin on all four sides, in pixels.
void set_margins(GtkWidget* widget, int margin);

/// The tooltip of a widget that shows no text, which is its name for a screen reader too.
void set_tooltip_and_name(GtkWidget* widget, const char* text);

/// Another widget's text is this one's name for a screen reader.
void set_labelled_by(GtkWidget* widget, GtkWidget* label);

// Texts.

/// Where the label has to cut its text, its tooltip is all of it.
void tell_cut_text(GtkWidget* label);

GtkWidget* append_label(GtkWidget* box, const char* text,
                        std::initializer_list<const char*> classes);

/// One line of text from the start of its place, cut where that ends.
GtkWidget* append_caption(GtkWidget* box, const char* text,
                          std::initializer_list<const char*> classes);

/// The mark that stands before a person's name, and whether it shows that the person speaks.
GtkWidget* append_speaking_dot(GtkWidget* box, bool speaking);
void show_speaking(GtkWidget* dot, bool speaking);

// Buttons.

GtkWidget* create_text_button(const char* text, const char* css_class, GCallback clicked);

/// A small one for its icon's sake; `name` says what it does.
GtkWidget* create_icon_button(const char* icon, const char* css_class, const char* name);

// Boxes and rows.

GtkWidget* create_box(GtkOrientation orientation, int spacing, const char* css_class);

/// What a list's row holds: `start_margin` before it, 8 after it, `gap` above and below, in pixels.
GtkWidget* create_row_box(GtkOrientation orientation, int spacing, int start_margin, int gap);

/// A row that can be chosen and activated, and one that is there to be read.
GtkWidget* create_list_row(GtkWidget* contents);
GtkWidget* create_reading_row(GtkWidget* contents);

/// An index that a row or a button carries as data under `key`; -1 for none. It is stored plus one:
/// data that is not there reads as 0.
void set_row_index(GtkWidget* widget, const char* key, std::int32_t index);
std::int32_t row_index(gpointer widget, const char* key);

/// As wide as its child needs, scrolled from top to bottom.
GtkWidget* create_vertical_scroller(GtkWidget* child);
