// The program's pictures: where they are looked for, and that they show.
#include "interface_fixture.h"

#include <filesystem>
#include <set>

namespace {

class Icons : public InnerFolderTest {
  protected:
};

/// The file that an image shows, or "" for an icon of the theme.
std::string shown_file(GtkWidget* image) {
    GIcon* const icon = gtk_image_get_gicon(GTK_IMAGE(image));
    if (!G_IS_FILE_ICON(icon)) {
        return {};
    }
    const GCharPtr path(g_file_get_path(g_file_icon_get_file(G_FILE_ICON(icon))));
    return std::filesystem::relative(path.get()).generic_string();
}

std::string shown_name(GtkWidget* image) {
    const char* const name = gtk_image_get_icon_name(GTK_IMAGE(image));
    return name == nullptr ? "" : name;
}

constexpr const char* k_picture =
    R"(<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64"><rect width="64" height="64" fill="#f00"/></svg>)";

TEST_F(Icons, WithoutAnyFileTheThemeServes) {
    run_interface([] {
        const GObjectPtr<GtkWidget> app(GTK_WIDGET(g_object_ref_sink(create_app_icon_image(72))));
        EXPECT_EQ(shown_name(app.get()), "audio-headset-symbolic");
        EXPECT_EQ(gtk_image_get_pixel_size(GTK_IMAGE(app.get())), 72);

        const GObjectPtr<GtkWidget> google(
            GTK_WIDGET(g_object_ref_sink(create_google_icon_image())));
        EXPECT_EQ(shown_name(google.get()), "web-browser-symbolic");
        EXPECT_EQ(gtk_image_get_pixel_size(GTK_IMAGE(google.get())), -1);

        const GObjectPtr<GtkWidget> space(
            GTK_WIDGET(g_object_ref_sink(create_space_thumbnail_image(36))));
        EXPECT_EQ(shown_name(space.get()), "image-x-generic-symbolic");
        EXPECT_EQ(gtk_image_get_pixel_size(GTK_IMAGE(space.get())), 36);
    });
}

TEST_F(Icons, EachPictureIsLookedForInThreePlacesInOrder) {
    struct Case {
        const char* name;
        GtkWidget* (*create)();
        int size;
    };
    constexpr Case k_cases[] = {
        {"velmo-app-icon.svg", [] { return create_app_icon_image(20); }, 20},
        {"google-auth.svg", [] { return create_google_icon_image(); }, 18},
        {"space-default-galaxy.svg", [] { return create_space_thumbnail_image(36); }, 36},
    };
    run_interface([&k_cases] {
        for (const Case& c : k_cases) {
            const std::string name = c.name;
            const std::string places[] = {"resources/" + name, "../resources/" + name, name};
            for (const std::string& place : places) {
                write_file(place.c_str(), k_picture);
            }
            for (const std::string& place : places) {
                const GObjectPtr<GtkWidget> image(GTK_WIDGET(g_object_ref_sink(c.create())));
                EXPECT_EQ(shown_file(image.get()), place);
                EXPECT_EQ(gtk_image_get_pixel_size(GTK_IMAGE(image.get())), c.size);
                std::filesystem::remove(place);
            }
            const GObjectPtr<GtkWidget> image(GTK_WIDGET(g_object_ref_sink(c.create())));
            EXPECT_EQ(shown_file(image.get()), "");
        }
    });
}

TEST_F(Icons, FileIsDrawnAtTheAskedSize) {
    write_file("velmo-app-icon.svg", k_picture);
    run_interface([] {
        GtkWidget* const image = create_app_icon_image(20);
        gtk_widget_set_halign(image, GTK_ALIGN_CENTER);
        gtk_widget_set_valign(image, GTK_ALIGN_CENTER);
        gtk_box_append(GTK_BOX(g_rooms_page), image);
        switch_to_rooms_page();
        wait_until([image] { return gtk_widget_get_width(image) > 0; });
        EXPECT_EQ(gtk_widget_get_width(image), 20);
        const Pixels pixels = paint_widget(image);
        for (const std::uint32_t pixel : pixels.data) {
            ASSERT_EQ(pixel, 0xFFFF0000U);
        }
    });
}

TEST_F(Icons, OurPicturesDrawAtEverySize) {
    run_interface([] {
        for (const char* name : {"velmo-app-icon", "google-auth", "space-default-galaxy"}) {
            for (const int size : {16, 18, 20, 36, 72, 256}) {
                const std::string path = std::string(VELMO_RESOURCES "/") + name + ".svg";
                const GObjectPtr<GFile> file(g_file_new_for_path(path.c_str()));
                const GObjectPtr<GtkIconPaintable> icon(
                    gtk_icon_paintable_new_for_file(file.get(), size, 1));
                const Pixels pixels = paint(GDK_PAINTABLE(icon.get()), size, size);
                const std::set<std::uint32_t> colours(pixels.data.begin(), pixels.data.end());
                EXPECT_GT(colours.size(), 8U) << name << " at " << size;
                EXPECT_EQ(pixels.at(0, 0) >> 24, 0U) << name << " leaves its corners free";
            }
        }
    });
}

} // namespace
