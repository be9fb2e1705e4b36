// Alerts over a window, whichever dialog this GTK offers for them. Called by the facade.
#pragma once

#include <gtk/gtk.h>

using AlertClosedCallback = void (*)();

/// Shows a modal alert over `parent` and returns at once; both texts are valid UTF-8. `closed` is
/// called once, on the main thread, when the user has closed it.
void show_alert(GtkWindow* parent, const char* message, const char* detail,
                AlertClosedCallback closed);
