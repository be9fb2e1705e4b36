// Reads and operates the widgets of the running interface. Used by the tests of this folder.
#pragma once

#include "ui/ui_internal.h"

#include <string>
#include <vector>

using Texts = std::vector<std::string>;

// --- What widgets are and show ---

std::vector<GtkWidget*> children_of(GtkWidget* widget);

/// The first widget of this type under `widget`, or null.
GtkWidget* find_widget(GtkWidget* widget, GType type);

/// The column of a page that `widget` stands in, or null.
GtkWidget* column_of(GtkWidget* widget);

/// How far that is scrolled down which `widget` is, or stands in.
GtkAdjustment* scrolling_of(GtkWidget* widget);

/// The texts of all labels under `widget`, in order.
Texts label_texts(GtkWidget* widget);

std::string label(GtkWidget* widget);
std::string contents(GtkTextBuffer* buffer);

// "" for none.
std::string button_label(GtkWidget* button);
std::string tooltip(GtkWidget* widget);

/// Whether a label, laid out, has to cut its text, and would show all of it to a pointer over it.
bool tells_cut_text(GtkWidget* label);

std::string placeholder(GtkWidget* entry);

bool has_class(GtkWidget* widget, const char* css_class);

// What a row of a list carries: "none" and 0 for nothing.
std::string text_data(GtkWidget* row, const char* key);
int index_data(GtkWidget* row, const char* key);

/// The text within an entry, which knows whether what is typed shows.
GtkText* text_within(GtkWidget* entry);

/// What has the keyboard in the main window, or null.
GtkWidget* keyboard();

/// Whether it is this widget, or one within it.
bool holds_keyboard(GtkWidget* widget);

// --- What is done to them ---

/// Puts a widget that no page makes into a box of one; it lives as long as the window.
void attach(GtkWidget*& slot, GtkWidget* widget, GtkWidget* box);

void click(GtkWidget* button);
void press_enter(GtkWidget* entry);
void type(GtkWidget* entry, const std::string& text);
std::string typed(GtkWidget* entry);

/// The widget's controllers of this type, in their order.
std::vector<GObjectPtr<GtkEventController>> controllers_of(GtkWidget* widget, GType type);

/// Presses Tab, or Shift+Tab, in the main window.
void press_tab();
void press_shift_tab();

/// Presses a key as the keyboard does. Whether a controller has kept it from the others.
bool press_key(GtkEventController* controller, guint key, GdkModifierType state = {});
