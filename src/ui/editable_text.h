// Reads what the user typed into a text field, cleaned by the rule for its kind. Every text field
// of the interface is read here.
#pragma once

#include <gtk/gtk.h>

/// One of ui/sanitisers.h.
using Sanitiser = const char* (*)(const char* text);

/// The text of `editable` through `sanitiser`, in that sanitiser's buffer: valid until its next
/// call. An empty static text when either is null. Main thread.
const char* get_sanitized_editable_text(GtkEditable* editable, Sanitiser sanitiser);
