// Runs the real interface around a test's body, and reads widgets and pixels back. Used by the
// tests of this folder.
#pragma once

#include "ui/ui_internal.h"

#include <cstdint>
#include <functional>
#include <source_location>
#include <string>
#include <vector>

/// Runs the interface from GUI_Init to GUI_Cleanup; `body` runs inside its main loop, after the
/// activation. Closes the window when `body` has not. Returns what GUI_Init returned.
int run_interface(const std::function<void()>& body);

/// Runs the main loop until `condition` holds. False, and a test failure, after ten seconds.
bool wait_until(const std::function<bool()>& condition,
                std::source_location caller = std::source_location::current());

/// Runs the main loop until the main window was painted so often: what waits for a layout has had
/// it.
bool wait_for_pictures(int count = 3);

/// Runs the main loop for a stretch of real time, to see that something does not happen.
void run_main_loop_for_ms(std::int64_t milliseconds);

std::vector<GtkWidget*> children_of(GtkWidget* widget);

/// The texts of all labels under `widget`, in order.
std::vector<std::string> label_texts(GtkWidget* widget);

/// The first widget of this type under `widget`, or null.
GtkWidget* find_widget(GtkWidget* widget, GType type);

/// The text within an entry, which knows whether what is typed shows.
GtkText* text_within(GtkWidget* entry);

/// The open window that is transient for the main window, or null.
GtkWindow* find_dialog();

/// The dialog once it is on the screen: nobody closes one that is not.
GtkWindow* wait_for_dialog();

/// Closes it as the window manager's button does: from the main loop.
void close_dialog(GtkWindow* dialog);

/// The name of the page that the main window shows.
std::string visible_page();

/// A painted widget, or any other paintable: 0xAARRGGBB, premultiplied, row by row.
struct Pixels {
    int width;
    int height;
    std::vector<std::uint32_t> data;

    std::uint32_t at(int x, int y) const {
        return data[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                    static_cast<std::size_t>(x)];
    }
};

Pixels paint(GdkPaintable* paintable, int width, int height);
Pixels paint_widget(GtkWidget* widget);

/// The contents of a file; "" when there is none.
std::string read_file(const char* path);
void write_file(const char* path, const std::string& contents);
