// See ui/alert.h. The only file that asks which GTK this is: GtkAlertDialog came with 4.10, and
// GtkMessageDialog is on its way out since.
#include "ui/alert.h"

#include "ui/localisation.h"

namespace {

// GTK's own word for it speaks the system's language, not the program's.
const char* close_label() {
    return g_language == k_language_english ? "Close" : "Cerrar";
}

// A word of any length, as a server may send one, stays on the screen, and lines stand under their
// title, one as well as several.
void arrange_labels(GtkWidget* widget) {
    if (GTK_IS_LABEL(widget)) {
        gtk_label_set_wrap_mode(GTK_LABEL(widget), PANGO_WRAP_WORD_CHAR);
        gtk_label_set_justify(GTK_LABEL(widget), GTK_JUSTIFY_CENTER);
    }
    for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
         child = gtk_widget_get_next_sibling(child)) {
        arrange_labels(child);
    }
}

} // namespace

#if GTK_CHECK_VERSION(4, 10, 0)

#include "ui/gobject_ptr.h"

namespace {

// GTK keeps the dialog's window to itself.
void arrange_labels_over(const GtkWindow* parent) {
    GListModel* const windows = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
        const GObjectPtr<GtkWindow> window(
            static_cast<GtkWindow*>(g_list_model_get_item(windows, i)));
        if (gtk_window_get_transient_for(window.get()) == parent) {
            arrange_labels(GTK_WIDGET(window.get()));
        }
    }
}

void on_choice(GObject* source, GAsyncResult* result, gpointer data) {
    // There is nothing to choose. Closing it any other way would be an error, which is nobody's.
    gtk_alert_dialog_choose_finish(GTK_ALERT_DIALOG(source), result, nullptr);
    reinterpret_cast<AlertClosedCallback>(data)();
}

} // namespace

void show_alert(GtkWindow* parent, const char* message, const char* detail,
                AlertClosedCallback closed) {
    const GObjectPtr<GtkAlertDialog> dialog(gtk_alert_dialog_new("%s", message));
    gtk_alert_dialog_set_detail(dialog.get(), detail);
    gtk_alert_dialog_set_modal(dialog.get(), TRUE);
    const char* const buttons[] = {close_label(), nullptr};
    gtk_alert_dialog_set_buttons(dialog.get(), buttons);
    gtk_alert_dialog_set_cancel_button(dialog.get(), 0);
    gtk_alert_dialog_set_default_button(dialog.get(), 0);
    gtk_alert_dialog_choose(dialog.get(), parent, nullptr, on_choice,
                            reinterpret_cast<gpointer>(closed));
    arrange_labels_over(parent);
}

#else

namespace {

void on_response(GtkDialog* dialog, int, gpointer data) {
    const auto closed = reinterpret_cast<AlertClosedCallback>(data);
    gtk_window_destroy(GTK_WINDOW(dialog));
    closed();
}

} // namespace

void show_alert(GtkWindow* parent, const char* message, const char* detail,
                AlertClosedCallback closed) {
    constexpr auto flags =
        static_cast<GtkDialogFlags>(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT);
    GtkWidget* const dialog =
        gtk_message_dialog_new(parent, flags, GTK_MESSAGE_OTHER, GTK_BUTTONS_NONE, "%s", message);
    gtk_dialog_add_button(GTK_DIALOG(dialog), close_label(), GTK_RESPONSE_CLOSE);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", detail);
    arrange_labels(GTK_WIDGET(dialog));
    g_signal_connect(dialog, "response", G_CALLBACK(on_response),
                     reinterpret_cast<gpointer>(closed));
    gtk_window_present(GTK_WINDOW(dialog));
}

#endif
