// See ui/alert.h. The only file that asks which GTK this is: GtkAlertDialog came with 4.10, and
// GtkMessageDialog is on its way out since.
#include "ui/alert.h"

#include "ui/localisation.h"

#include <algorithm>

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

void show_alert(GtkWindow* parent, const char* message, const char* detail,
                AlertClosedCallback closed) {
    const char* const button = close_label();
    show_question(parent, message, detail, {&button, 1}, closed);
}

#if GTK_CHECK_VERSION(4, 10, 0)

#include "ui/gobject_ptr.h"

#include <vector>

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
    // Closing it any other way would be an error, which is nobody's.
    const int button = gtk_alert_dialog_choose_finish(GTK_ALERT_DIALOG(source), result, nullptr);
    reinterpret_cast<AlertClosedCallback>(data)(std::max(button, 0));
}

} // namespace

void show_question(GtkWindow* parent, const char* message, const char* detail,
                   std::span<const char* const> buttons, AlertClosedCallback closed) {
    const GObjectPtr<GtkAlertDialog> dialog(gtk_alert_dialog_new("%s", message));
    gtk_alert_dialog_set_detail(dialog.get(), detail);
    gtk_alert_dialog_set_modal(dialog.get(), TRUE);
    std::vector<const char*> labels(buttons.begin(), buttons.end());
    labels.push_back(nullptr);
    gtk_alert_dialog_set_buttons(dialog.get(), labels.data());
    gtk_alert_dialog_set_cancel_button(dialog.get(), 0);
    gtk_alert_dialog_set_default_button(dialog.get(), 0);
    gtk_alert_dialog_choose(dialog.get(), parent, nullptr, on_choice,
                            reinterpret_cast<gpointer>(closed));
    arrange_labels_over(parent);
}

#else

namespace {

void on_response(GtkDialog* dialog, int response, gpointer data) {
    const auto closed = reinterpret_cast<AlertClosedCallback>(data);
    gtk_window_destroy(GTK_WINDOW(dialog));
    closed(std::max(response, 0));
}

} // namespace

void show_question(GtkWindow* parent, const char* message, const char* detail,
                   std::span<const char* const> buttons, AlertClosedCallback closed) {
    constexpr auto flags =
        static_cast<GtkDialogFlags>(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT);
    GtkWidget* const dialog =
        gtk_message_dialog_new(parent, flags, GTK_MESSAGE_OTHER, GTK_BUTTONS_NONE, "%s", message);
    int position = 0;
    for (const char* button : buttons) {
        gtk_dialog_add_button(GTK_DIALOG(dialog), button, position++);
    }
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), 0);
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", detail);
    arrange_labels(GTK_WIDGET(dialog));
    g_signal_connect(dialog, "response", G_CALLBACK(on_response),
                     reinterpret_cast<gpointer>(closed));
    gtk_window_present(GTK_WINDOW(dialog));
}

#endif
