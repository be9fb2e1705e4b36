// The program's own pictures, from the resources folder. Called wherever a page shows one.
#include "ui/ui_internal.h"

namespace {

// The theme's own size for an image, instead of one in pixels.
constexpr std::int32_t k_theme_size = -1;
constexpr std::int32_t k_google_icon_size = 18;

struct Picture {
    const char* paths[3];
    const char* fallback_icon;
};

constexpr Picture k_app_icon = {
    {"resources/velmo-app-icon.svg", "../resources/velmo-app-icon.svg", "velmo-app-icon.svg"},
    "audio-headset-symbolic",
};
constexpr Picture k_google_icon = {
    {"resources/google-auth.svg", "../resources/google-auth.svg", "google-auth.svg"},
    "web-browser-symbolic",
};
constexpr Picture k_space_picture = {
    {"resources/space-default-galaxy.svg", "../resources/space-default-galaxy.svg",
     "space-default-galaxy.svg"},
    "image-x-generic-symbolic",
};

GtkWidget* create_picture(const Picture& picture, std::int32_t pixel_size,
                          std::int32_t fallback_size) {
    for (const char* path : picture.paths) {
        if (g_file_test(path, G_FILE_TEST_IS_REGULAR)) {
            // As an icon the file is drawn at the size it is shown in, sharp on every screen; as a
            // plain image it would be drawn once at its own size and scaled.
            const GObjectPtr<GFile> file(g_file_new_for_path(path));
            const GObjectPtr<GIcon> icon(g_file_icon_new(file.get()));
            GtkWidget* const image = gtk_image_new_from_gicon(icon.get());
            gtk_image_set_pixel_size(GTK_IMAGE(image), pixel_size);
            return image;
        }
    }
    GtkWidget* const image = gtk_image_new_from_icon_name(picture.fallback_icon);
    gtk_image_set_pixel_size(GTK_IMAGE(image), fallback_size);
    return image;
}

} // namespace

GtkWidget* create_app_icon_image(std::int32_t pixel_size) {
    return create_picture(k_app_icon, pixel_size, pixel_size);
}

GtkWidget* create_google_icon_image() {
    return create_picture(k_google_icon, k_google_icon_size, k_theme_size);
}

GtkWidget* create_space_thumbnail_image(std::int32_t pixel_size) {
    return create_picture(k_space_picture, pixel_size, pixel_size);
}
