// Tooltips that tell what a label has no room for. Called by the pages.
#include "ui/ui_internal.h"

namespace {

gboolean tell_all(GtkWidget* label, int, int, gboolean, GtkTooltip* tooltip, gpointer) {
    if (pango_layout_is_ellipsized(gtk_label_get_layout(GTK_LABEL(label))) == FALSE) {
        return FALSE; // it would only repeat what is there
    }
    gtk_tooltip_set_text(tooltip, gtk_label_get_text(GTK_LABEL(label)));
    return TRUE;
}

} // namespace

void tell_cut_text(GtkWidget* label) {
    gtk_widget_set_has_tooltip(label, TRUE);
    g_signal_connect(label, "query-tooltip", G_CALLBACK(tell_all), nullptr);
}
