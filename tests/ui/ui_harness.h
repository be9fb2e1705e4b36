// Runs the real interface around a test's body: its main loop, its windows, its pictures. Used by
// the tests of this folder.
#pragma once

#include "widget_access.h"

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

/// More pictures than a list or a text takes to scroll.
constexpr int k_scroll_pictures = 20;

/// Runs the main loop until it has nothing left to do at once.
void run_pending();

/// Runs the main loop until each timer of at most this interval that runs now had its turn, and
/// what followed from it.
void run_past_timers(unsigned int interval_ms);

/// Runs the main loop for a stretch of real time, to see that something does not happen.
void run_main_loop_for_ms(std::int64_t milliseconds);

/// Waits until the page that the main window shows has come all the way in.
void wait_for_page();

/// Whether the main window, which was just made, is maximised two seconds later at the latest. Wine
/// restores one now and then: it takes a size that comes ahead of the window manager's state for a
/// wish to.
bool comes_up_maximised();

/// Maximises the main window anew where it did not come up so.
void wait_until_maximised();

/// Gives the main window, once it was maximised, this size.
void resize_window(int width, int height);

// --- Windows over the main one ---

/// The open window that is transient for the main window, or null.
GtkWindow* find_dialog();

/// The dialog once it is on the screen: nobody closes one that is not.
GtkWindow* wait_for_dialog();

/// Closes it as the window manager's button does: from the main loop.
void close_dialog(GtkWindow* dialog);

/// What an alert says.
struct AlertTexts {
    std::string title;
    std::string detail;

    bool operator==(const AlertTexts&) const = default;
};

/// Waits for the alert over the window, reads and closes it. There may be another one behind it.
AlertTexts take_alert_texts();

/// The name of the page that the main window shows.
std::string visible_page();

// --- Pictures and files ---

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
