// See popup_access.h.
#include "popup_access.h"

#include "ui/hub/popups/popups_internal.h"

#include <gtest/gtest.h>

GtkWindow* wait_for_popup() {
    return wait_for_dialog();
}

void expect_popup(GtkWindow* popup, int width, int height, const char* title) {
    EXPECT_STREQ(gtk_window_get_title(popup), title);
    EXPECT_TRUE(gtk_window_get_modal(popup));
    EXPECT_FALSE(gtk_window_get_resizable(popup));
    EXPECT_EQ(gtk_window_get_transient_for(popup), GTK_WINDOW(g_window));
    int default_width = 0;
    int default_height = 0;
    gtk_window_get_default_size(popup, &default_width, &default_height);
    EXPECT_EQ(default_width, width);
    EXPECT_EQ(default_height, height);
    GtkWidget* const box = gtk_window_get_child(popup);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 10);
    EXPECT_EQ(gtk_widget_get_margin_start(box), 16);
    EXPECT_EQ(gtk_widget_get_margin_bottom(box), 16);
    EXPECT_EQ(label(gtk_widget_get_first_child(box)), title);
    EXPECT_TRUE(has_class(gtk_widget_get_first_child(box), "settings-option-title"));
    EXPECT_TRUE(has_class(popup_button(popup, "Cancelar"), "btn-primary"));
}

namespace {

GtkWidget* find_button(GtkWidget* widget, const std::string& text) {
    if (GTK_IS_BUTTON(widget) && button_label(widget) == text) {
        return widget;
    }
    for (GtkWidget* const child : children_of(widget)) {
        if (GtkWidget* const found = find_button(child, text)) {
            return found;
        }
    }
    return nullptr;
}

} // namespace

GtkWidget* popup_button(GtkWindow* popup, const char* text) {
    GtkWidget* const button = find_button(gtk_window_get_child(popup), text);
    EXPECT_NE(button, nullptr) << text;
    return button;
}

GtkWidget* popup_field(GtkWindow* popup) {
    return find_widget(gtk_window_get_child(popup), GTK_TYPE_ENTRY);
}

std::string picture_label(GtkWindow* popup) {
    return label(static_cast<GtkWidget*>(g_object_get_data(G_OBJECT(popup), "space-image-label")));
}

void cancel_file_dialog(GtkWindow* popup) {
    const GObjectPtr<GtkFileChooserNative> dialog(
        gtk_file_chooser_native_new("", popup, GTK_FILE_CHOOSER_ACTION_OPEN, nullptr, nullptr));
    on_space_image_file_dialog_response(GTK_NATIVE_DIALOG(dialog.get()), GTK_RESPONSE_CANCEL,
                                        popup);
}

void choose_picture(GtkWindow* popup, const char* file) {
    const GObjectPtr<GFile> chosen(g_file_new_for_path(file));
    choose_space_image(GTK_WIDGET(popup), chosen.get());
}

std::string small_png() {
    const GObjectPtr<GdkPixbuf> picture(gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, 4, 3));
    gdk_pixbuf_fill(picture.get(), 0x20c040ff);
    gchar* bytes = nullptr;
    gsize size = 0;
    EXPECT_TRUE(gdk_pixbuf_save_to_buffer(picture.get(), &bytes, &size, "png", nullptr, nullptr));
    std::string png(bytes, size);
    g_free(bytes);
    return png;
}
