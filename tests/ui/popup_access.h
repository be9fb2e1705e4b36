// Reads and operates the popups over the hub. Used by their tests.
#pragma once

#include "ui_harness.h"

#include <string>

/// The popup over the main window, once it is on the screen.
GtkWindow* wait_for_popup();

/// Its pattern: size, title, modality.
void expect_popup(GtkWindow* popup, int width, int height, const char* title);

/// Its button with this text, or null; its first text field.
GtkWidget* popup_button(GtkWindow* popup, const char* text);
GtkWidget* popup_field(GtkWindow* popup);

/// What stands under the button that chooses a picture.
std::string picture_label(GtkWindow* popup);

/// As if the system's dialog had ended without a choice, and with this file. What the dialog itself
/// does, no test sees.
void cancel_file_dialog(GtkWindow* popup);
void choose_picture(GtkWindow* popup, const char* file);

/// A whole picture of a few points.
std::string small_png();
