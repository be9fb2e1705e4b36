// Widgets that are measured for the width they get and for no other. GTK would lay out a wrapped
// text for its least width too, which breaks it into many more lines than are ever shown, and what
// is scrolled for a height that nobody looks at.
#pragma once

#include <gtk/gtk.h>

/// A label of wrapped text that takes the width it is given, at least `least_width` pixels.
void measure_at_given_width(GtkLabel* label, int least_width);

/// What `viewport` shows may have any height: nobody asks how high it would be at its least width.
void measure_width_only(GtkViewport* viewport);
