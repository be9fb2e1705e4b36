// See ui/lean_layout.h.
#include "ui/lean_layout.h"

namespace {

constexpr const char* k_least_width = "least-width";

GtkSizeRequestMode request_height_for_width(GtkWidget*) {
    return GTK_SIZE_REQUEST_HEIGHT_FOR_WIDTH;
}

void measure_label(GtkWidget* widget, GtkOrientation orientation, int for_size, int* minimum,
                   int* natural, int* minimum_baseline, int* natural_baseline) {
    if (orientation == GTK_ORIENTATION_HORIZONTAL) {
        *minimum = GPOINTER_TO_INT(g_object_get_data(G_OBJECT(widget), k_least_width));
        *natural = *minimum;
    } else {
        GTK_WIDGET_GET_CLASS(widget)->measure(widget, orientation, for_size, minimum, natural,
                                              minimum_baseline, natural_baseline);
    }
}

void measure_viewport(GtkWidget* widget, GtkOrientation orientation, int for_size, int* minimum,
                      int* natural, int* minimum_baseline, int* natural_baseline) {
    if (orientation == GTK_ORIENTATION_VERTICAL) {
        *minimum = 0;
        *natural = 0;
    } else {
        GTK_WIDGET_GET_CLASS(widget)->measure(widget, orientation, for_size, minimum, natural,
                                              minimum_baseline, natural_baseline);
    }
}

void allocate(GtkWidget* widget, int width, int height, int baseline) {
    GTK_WIDGET_GET_CLASS(widget)->size_allocate(widget, width, height, baseline);
}

} // namespace

void measure_at_given_width(GtkLabel* label, int least_width) {
    g_object_set_data(G_OBJECT(label), k_least_width, GINT_TO_POINTER(least_width));
    gtk_widget_set_layout_manager(
        GTK_WIDGET(label),
        gtk_custom_layout_new(request_height_for_width, measure_label, allocate));
}

void measure_width_only(GtkViewport* viewport) {
    gtk_widget_set_layout_manager(
        GTK_WIDGET(viewport),
        gtk_custom_layout_new(request_height_for_width, measure_viewport, allocate));
}
