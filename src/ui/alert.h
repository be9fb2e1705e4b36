// Alerts over a window, whichever dialog this GTK offers for them. Called by the facade and by the
// log-out.
#pragma once

#include <gtk/gtk.h>

#include <span>

/// Takes the position of the button that was pressed; 0, too, for any other way to close it.
using AlertClosedCallback = void (*)(int button);

/// Shows a modal alert over `parent` and returns at once; both texts are valid UTF-8. `closed` is
/// called once, on the main thread, when the user has closed it.
void show_alert(GtkWindow* parent, const char* message, const char* detail,
                AlertClosedCallback closed);

/// The same with these buttons, side by side; Enter presses the first.
void show_question(GtkWindow* parent, const char* message, const char* detail,
                   std::span<const char* const> buttons, AlertClosedCallback closed);
