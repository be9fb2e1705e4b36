// Creating a space, with a picture if the user likes. Called by the hub's "+".
#include "backend/hub_tables.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/editable_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/hub/space_images_internal.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

#include <cstring>
#include <string>

namespace {

constexpr int k_width = 460;
constexpr int k_height = 240;
constexpr int k_name_max = 64;
constexpr std::size_t k_shortest_name = 2;

constexpr const char* k_path_key = "space-image-path";
constexpr const char* k_label_key = "space-image-label";
constexpr const char* k_name_key = "space-name-entry";

bool g_is_creating = false; // the loading popup's loop may bring a second press

void warn(const char* text) {
    GUI_ShowMessage(tr("msg_title_space"), text, k_gui_message_warning);
}

template <typename T>
T* data_of(GtkWidget* popup, const char* key) {
    return static_cast<T*>(g_object_get_data(G_OBJECT(popup), key));
}

/// A picture that is sent with the space; empty for none.
struct ChosenImage {
    std::string path;
    std::string base64;
    char mime_type[64] = "";
};

bool read_image(ChosenImage& image) {
    char error[256] = "";
    if (image.path.empty() ||
        load_space_image_as_base64(image.path.c_str(), &image.base64, image.mime_type, error)) {
        return true;
    }
    warn(first_filled(error, tr("msg_space_image_invalid")));
    return false;
}

// The service lists the one just made last.
std::int32_t last_space_of_name(const std::string& name) {
    char kept[sizeof(HubSpace::name)];
    copy_text(kept, name);
    for (std::int32_t i = g_hub_server_count - 1; i >= 0; --i) {
        if (std::strcmp(g_hub_servers[i].name, kept) == 0) {
            return i;
        }
    }
    return -1;
}

void enter_created_space(const std::string& name, const ChosenImage& image) {
    g_selected_server_index = last_space_of_name(name);
    if (HubSpace* const space = selected_hub_space()) {
        copy_text(g_selected_space_id, space->id); // whose rooms come at the next click
        copy_text(space->role, "owner");
        if (!image.path.empty()) {
            space->hasImage = true;
            set_local_space_image_path(space->id, image.path.c_str());
        }
    }
    refresh_hub_server_list();
    if (g_server_entry != nullptr) {
        gtk_editable_set_text(GTK_EDITABLE(g_server_entry), "");
    }
}

bool create_space(const std::string& name, const ChosenImage& image) {
    g_is_creating = true;
    show_loading_popup(tr("msg_creating_space"));
    char error[256] = "";
    const bool has_image = !image.base64.empty();
    const bool is_created =
        g_window != nullptr && // else closed while the popup came up: nobody is left to create it
        backend_create_space(name.c_str(), has_image ? image.base64.c_str() : nullptr,
                             has_image ? image.mime_type : nullptr, error);
    hide_loading_popup();
    g_is_creating = false;
    if (!is_created) {
        GUI_ShowMessage(tr("msg_title_space"), first_filled(error, tr("msg_create_space_failed")),
                        k_gui_message_error);
    }
    return is_created;
}

GtkFileChooserNative* create_file_dialog(GtkWidget* popup) {
    GtkFileChooserNative* const dialog = gtk_file_chooser_native_new(
        tr("hub_space_image_btn"), GTK_WINDOW(popup), GTK_FILE_CHOOSER_ACTION_OPEN,
        tr("hub_space_image_btn"), tr("btn_cancel"));
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(dialog), TRUE);
    const GObjectPtr<GtkFileFilter> images(gtk_file_filter_new());
    gtk_file_filter_set_name(images.get(), "Images");
    for (const char* type : {"image/png", "image/jpeg", "image/webp", "image/gif"}) {
        gtk_file_filter_add_mime_type(images.get(), type);
    }
    gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(dialog), images.get());
    return dialog;
}

void append_image_choice(const Popup& popup) {
    GtkWidget* const choose = create_text_button(tr("hub_space_image_btn"), "btn-primary",
                                                 G_CALLBACK(on_select_space_image_clicked));
    set_popup_data({choose}, popup, nullptr);
    gtk_box_append(GTK_BOX(popup.box), choose);
    GtkWidget* const chosen =
        append_popup_text(popup, tr("hub_space_image_none"), "settings-option-desc");
    g_object_set_data(G_OBJECT(popup.window), k_label_key, chosen);
}

} // namespace

void show_create_space_popup() {
    const Popup popup = create_popup(k_width, k_height, "ctx_create_space_popup_title");
    GtkWidget* const name = append_popup_entry(popup, "hub_space_name_placeholder", k_name_max);
    g_signal_connect(name, "activate", G_CALLBACK(on_create_space_popup_entry_activate), nullptr);
    g_object_set_data(G_OBJECT(popup.window), k_name_key, name);
    append_popup_text(popup, tr("hub_space_name_locked_hint"), "settings-option-desc");
    append_image_choice(popup);
    GtkWidget* const confirm = append_popup_buttons(popup, tr("hub_create_space_btn"),
                                                    G_CALLBACK(on_create_space_popup_confirm));
    set_popup_data({confirm, name}, popup, name);
    show_popup_window(popup, name);
}

void on_add_server_clicked(GtkWidget*, gpointer) {
    show_create_space_popup();
}

void on_select_space_image_clicked(GtkWidget* sender, gpointer) {
    GtkWidget* const popup = popup_window(sender);
    GtkFileChooserNative* const dialog = create_file_dialog(popup);
    g_signal_connect_object(dialog, "response", G_CALLBACK(on_space_image_file_dialog_response),
                            popup, GConnectFlags{});
    // The popup owns it: it is gone with it, or with the next one.
    g_object_set_data_full(G_OBJECT(popup), "space-image-dialog", dialog, [](gpointer data) {
        gtk_native_dialog_destroy(GTK_NATIVE_DIALOG(data));
        g_object_unref(data);
    });
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(dialog));
}

void choose_space_image(GtkWidget* popup, GFile* file) {
    GCharPtr path(file != nullptr ? g_file_get_path(file) : nullptr);
    if (path == nullptr) {
        return; // nothing that can be read as a file
    }
    const GCharPtr name(g_file_get_basename(file));
    const bool has_name = name != nullptr && !is_empty(name.get());
    gtk_label_set_text(data_of<GtkLabel>(popup, k_label_key),
                       has_name ? display_text(name.get()).c_str() : tr("hub_space_image_none"));
    g_object_set_data_full(G_OBJECT(popup), k_path_key, path.release(), g_free);
}

void on_space_image_file_dialog_response(GtkNativeDialog* dialog, int response, gpointer popup) {
    GtkWidget* const window = GTK_WIDGET(popup);
    if (response == GTK_RESPONSE_ACCEPT) {
        const GObjectPtr<GFile> file(gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog)));
        choose_space_image(window, file.get());
    }
    gtk_widget_grab_focus(data_of<GtkWidget>(window, k_name_key));
}

void on_create_space_popup_confirm(GtkWidget* sender, gpointer) {
    PopupWatch popup(popup_window(sender));
    if (!popup.is_open() || g_is_creating) {
        return;
    }
    const std::string name =
        get_sanitized_editable_text(GTK_EDITABLE(popup_entry(sender)), sanitize_space_name);
    if (name.empty()) {
        warn(tr("msg_create_space_name_required"));
        return;
    }
    if (name.size() < k_shortest_name) {
        warn(tr("msg_space_name_invalid"));
        return;
    }
    ChosenImage image;
    image.path = or_empty(data_of<const char>(popup_window(sender), k_path_key));
    if (!read_image(image) || !create_space(name, image)) {
        return;
    }
    enter_created_space(name, image);
    popup.close();
    if (!image.path.empty()) {
        restore_main_window_focus_soon(); // the file dialog can have left the keyboard elsewhere
    }
}

void on_create_space_popup_entry_activate(GtkWidget* sender, gpointer data) {
    on_create_space_popup_confirm(sender, data);
}

gboolean on_create_space_popup_key_pressed(GtkEventControllerKey*, guint key, guint,
                                           GdkModifierType, gpointer popup) {
    if (key != GDK_KEY_Escape) {
        return GDK_EVENT_PROPAGATE;
    }
    gtk_window_destroy(GTK_WINDOW(popup));
    return GDK_EVENT_STOP;
}
