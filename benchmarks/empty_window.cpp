// The least that a GTK 4 program with a window can be: what the client's start and memory are set
// beside. Run by ./bench.
#include <gtk/gtk.h>

namespace {

void show_window(GtkApplication* application, gpointer /*data*/) {
    GtkWidget* const window = gtk_application_window_new(application);
    gtk_window_set_default_size(GTK_WINDOW(window), 900, 650);
    gtk_window_maximize(GTK_WINDOW(window));
    gtk_window_present(GTK_WINDOW(window));
}

} // namespace

int main(int argc, char** argv) {
    GtkApplication* const application =
        gtk_application_new("org.example.empty", GApplicationFlags{});
    g_signal_connect(application, "activate", G_CALLBACK(show_window), nullptr);
    const int status = g_application_run(G_APPLICATION(application), argc, argv);
    g_object_unref(application);
    return status;
}
