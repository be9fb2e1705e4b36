// See ui/alert.h. The only file that asks which GTK this is: GtkAlertDialog came with 4.10, and
// GtkMessageDialog is on its way out since.
#include "ui/alert.h"

#if GTK_CHECK_VERSION(4, 10, 0)

#include "ui/gobject_ptr.h"

namespace {

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
    gtk_alert_dialog_choose(dialog.get(), parent, nullptr, on_choice,
                            reinterpret_cast<gpointer>(closed));
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
        gtk_message_dialog_new(parent, flags, GTK_MESSAGE_OTHER, GTK_BUTTONS_CLOSE, "%s", message);
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", detail);
    g_signal_connect(dialog, "response", G_CALLBACK(on_response),
                     reinterpret_cast<gpointer>(closed));
    gtk_window_present(GTK_WINDOW(dialog));
}

#endif
