// Pictures of spaces: read from the disk, fetched from the backend, shown in the hub's list.
#include "hub_fixture.h"
#include "popup_access.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/space_images_internal.h"
#include "ui/localisation.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace {

constexpr std::size_t k_limit = 5'242'880;

struct Loaded {
    bool is_loaded;
    std::string base64;
    std::string mime_type;
    std::string error;
};

Loaded load(const char* path) {
    std::string base64 = "before";
    char mime_type[64] = "before";
    char error[256] = "";
    const bool is_loaded = load_space_image_as_base64(path, &base64, mime_type, error);
    return {is_loaded, base64, mime_type, error};
}

void expect_refused(const char* path, const char* text_key) {
    const Loaded loaded = load(path);
    EXPECT_FALSE(loaded.is_loaded) << path;
    EXPECT_EQ(loaded.error, tr(text_key)) << path;
    EXPECT_EQ(loaded.base64, "");
    EXPECT_EQ(loaded.mime_type, "");
}

std::span<const std::uint8_t> bytes_of(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string saved_picture(const char* type, int width, int height) {
    const GObjectPtr<GdkPixbuf> picture(
        gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, height));
    for (guint8 shade = 0; shade < 200; ++shade) { // nothing that packs into a few bytes
        const GObjectPtr<GdkPixbuf> part(gdk_pixbuf_new_subpixbuf(
            picture.get(), shade * width / 200, 0, std::max(1, width / 200), height));
        gdk_pixbuf_fill(part.get(), shade * 0x01030500U | 0xffU);
    }
    gchar* bytes = nullptr;
    gsize size = 0;
    EXPECT_TRUE(gdk_pixbuf_save_to_buffer(picture.get(), &bytes, &size, type, nullptr, nullptr));
    const std::string saved(bytes, size);
    g_free(bytes);
    return saved;
}

void append_number(std::string& text, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        text.push_back(static_cast<char>(number >> shift & 0xFF));
    }
}

/// A header that promises so many points, and an end; what is between is not asked for.
std::string png_header(std::uint32_t width, std::uint32_t height) {
    std::string text("\x89PNG\r\n\x1a\n", 8);
    append_number(text, 13);
    const std::size_t begin = text.size();
    text += "IHDR";
    append_number(text, width);
    append_number(text, height);
    text += std::string("\x08\x02\x00\x00\x00", 5);
    std::uint32_t crc = 0xFFFFFFFFU;
    for (std::size_t i = begin; i < text.size(); ++i) {
        crc ^= static_cast<std::uint8_t>(text[i]);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xEDB88320U : crc >> 1;
        }
    }
    append_number(text, ~crc);
    return text + std::string("\0\0\0\0IEND\xae\x42\x60\x82", 12);
}

class SpaceImages : public HubTest {
  protected:
    SpaceImages() {
        g_local_space_image_count = 0;
        for (CachedSpaceImage& entry : g_space_image_cache) {
            entry.texture.reset();
        }
        g_space_image_cache_count = 0;
        renew_space_pictures();
    }
    ~SpaceImages() override {
        g_local_space_image_count = 0;
        for (CachedSpaceImage& entry : g_space_image_cache) {
            entry.texture.reset();
        }
        g_space_image_cache_count = 0;
    }

    Texts pictures_asked_for() const {
        Texts requests = all_requests();
        std::erase_if(requests,
                      [](const std::string& request) { return !request.ends_with("/image"); });
        return requests;
    }

    static GtkImage* thumbnail(std::size_t index) {
        return GTK_IMAGE(gtk_widget_get_first_child(gtk_list_box_row_get_child(row(index))));
    }

    static bool shows_picture(std::size_t index) {
        return gtk_image_get_storage_type(thumbnail(index)) == GTK_IMAGE_PAINTABLE;
    }
};

// --- Reading a file
// -------------------------------------------------------------------------------

TEST_F(SpaceImages, APictureIsReadWithItsTypeByItsContents) {
    const std::string png = small_png();
    for (const char* const name : {"a.png", "a.txt", "a", "ñandú.jpg"}) {
        // A name in UTF-8, whatever the system's own names are in.
        ASSERT_TRUE(
            g_file_set_contents(name, png.data(), static_cast<gssize>(png.size()), nullptr));
        const Loaded loaded = load(name);
        EXPECT_TRUE(loaded.is_loaded) << loaded.error;
        EXPECT_EQ(loaded.mime_type, "image/png");
        const GCharPtr expected(
            g_base64_encode(reinterpret_cast<const guchar*>(png.data()), png.size()));
        EXPECT_EQ(loaded.base64, expected.get());
    }
    write_file("b.png", saved_picture("jpeg", 30, 20));
    EXPECT_EQ(load("b.png").mime_type, "image/jpeg");
}

TEST_F(SpaceImages, TheSizeIsLimitedToTheByte) {
    std::string png = small_png();
    png.resize(k_limit, '\0');
    write_file("limit.png", png);
    EXPECT_TRUE(load("limit.png").is_loaded);
    write_file("more.png", png + '\0');
    expect_refused("more.png", "msg_space_image_too_large");
    write_file("empty.png", "");
    expect_refused("empty.png", "msg_space_image_too_large");
}

TEST_F(SpaceImages, WhatIsNoPictureIsRefused) {
    const std::string png = saved_picture("png", 300, 200);
    write_file("text.png", "Esto no es una imagen");
    write_file("bmp.png", "BM" + std::string(60, '\0')); // a picture, but none of the four kinds
    write_file("cut.png", png.substr(0, png.size() / 2));
    const std::string jpeg = saved_picture("jpeg", 300, 200);
    write_file("cut.jpg", jpeg.substr(0, jpeg.size() / 2));
    write_file("cut.gif", "GIF89a\x10");
    write_file("huge.png", png_header(20000, 20000));
    for (const char* const name :
         {"text.png", "bmp.png", "cut.png", "cut.jpg", "cut.gif", "huge.png"}) {
        expect_refused(name, "msg_space_image_invalid");
    }
    for (const char* const path : {"", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(load(path).is_loaded);
        EXPECT_EQ(load(path).error, tr("msg_space_image_invalid"));
    }
}

TEST_F(SpaceImages, WhatCannotBeReadSaysWhy) {
    const Loaded gone = load("gone.png");
    EXPECT_FALSE(gone.is_loaded);
    EXPECT_NE(gone.error, "");
    std::filesystem::create_directory("folder.png");
    const Loaded folder = load("folder.png");
    EXPECT_FALSE(folder.is_loaded);
    EXPECT_NE(folder.error, "");
    EXPECT_FALSE(load_space_image_as_base64("gone.png", nullptr, {}, {}));
}

TEST_F(SpaceImages, TheFirstBytesTellTheKind) {
    const auto kind = [](const std::string& bytes) {
        return std::string(space_image_mime_type(bytes_of(bytes)));
    };
    const std::pair<std::string, const char*> k_beginnings[] = {
        {std::string("\x89PNG\r\n\x1a\n", 8), "image/png"},
        {"\xff\xd8\xff", "image/jpeg"},
        {"GIF87a", "image/gif"},
        {"GIF89a", "image/gif"},
        {"RIFF....WEBP", "image/webp"},
    };
    for (const auto& [bytes, type] : k_beginnings) {
        EXPECT_EQ(kind(bytes), type);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            EXPECT_EQ(kind(bytes.substr(0, length)), "") << type << length;
        }
    }
    EXPECT_EQ(kind("RIFF....WAVE"), "");
}

TEST_F(SpaceImages, APictureIsScaledDownAndKeepsItsShape) {
    const GObjectPtr<GdkTexture> wide =
        decode_space_image(bytes_of(saved_picture("png", 1024, 512)));
    ASSERT_NE(wide, nullptr);
    EXPECT_EQ(gdk_texture_get_width(wide.get()), 256);
    EXPECT_EQ(gdk_texture_get_height(wide.get()), 128);
    const GObjectPtr<GdkTexture> small = decode_space_image(bytes_of(small_png()));
    ASSERT_NE(small, nullptr);
    EXPECT_EQ(gdk_texture_get_width(small.get()), 4);
    EXPECT_EQ(decode_space_image(bytes_of(png_header(20000, 20000))), nullptr);
    EXPECT_EQ(decode_space_image({}), nullptr);
}

// --- Chosen files
// ---------------------------------------------------------------------------------

TEST_F(SpaceImages, AChosenFileIsRememberedForItsSpace) {
    set_local_space_image_path("", "x");
    set_local_space_image_path("s1", "");
    EXPECT_EQ(g_local_space_image_count, 0);
    EXPECT_EQ(get_local_space_image_path("s1"), nullptr);
    set_local_space_image_path("s1", "one.png");
    set_local_space_image_path("s1", "two.png");
    EXPECT_EQ(g_local_space_image_count, 1);
    EXPECT_STREQ(get_local_space_image_path("s1"), "two.png");
    set_local_space_image_path("s2", std::string(600, 'x').c_str());
    EXPECT_EQ(std::string(get_local_space_image_path("s2")).size(), 511U);
    for (int i = 3; i <= 33; ++i) {
        set_local_space_image_path(("s" + std::to_string(i)).c_str(), "x");
    }
    EXPECT_EQ(g_local_space_image_count, 32);
    EXPECT_NE(get_local_space_image_path("s32"), nullptr);
    EXPECT_EQ(get_local_space_image_path("s33"), nullptr);
}

// --- Fetching
// -------------------------------------------------------------------------------------

TEST_F(SpaceImages, TheAddressFollowsFromTheSpacesField) {
    struct Row {
        const char* image_url;
        const char* url;
    };
    constexpr Row k_rows[] = {
        {"", "http://backend.example/api/spaces/s1/image?sessionToken=tok"},
        {"/pictures/1", "http://backend.example/pictures/1?sessionToken=tok"},
        {"http://other.example/p?a=1", "http://other.example/p?a=1?sessionToken=tok"},
        {"https://other.example/p", "https://other.example/p?sessionToken=tok"},
    };
    HubSpace& space = add_space("s1", "Uno");
    for (const Row& row : k_rows) {
        copy_text(space.imageUrl, row.image_url);
        EXPECT_EQ(load_space_texture_for_server(&space), nullptr);
        EXPECT_EQ(last_url(), row.url);
    }
}

TEST_F(SpaceImages, AFetchedPictureIsKept) {
    answer("GET /api/spaces/s1/image", 200, small_png());
    const HubSpace& space = add_space("s1", "Uno");
    GdkTexture* const texture = load_space_texture_for_server(&space);
    ASSERT_NE(texture, nullptr);
    EXPECT_EQ(load_space_texture_for_server(&space), texture);
    EXPECT_EQ(pictures_asked_for().size(), 1U);
    EXPECT_EQ(load_space_texture_for_server(nullptr), nullptr);
    EXPECT_EQ(load_space_texture_for_server(&add_space("", "Dos")), nullptr);
}

TEST_F(SpaceImages, WithoutASessionOnlyAFileIsRead) {
    g_session_token[0] = '\0';
    const HubSpace& space = add_space("s1", "Uno");
    EXPECT_EQ(load_space_texture_for_server(&space), nullptr);
    write_file("text.png", "no");
    set_local_space_image_path("s1", "text.png");
    EXPECT_EQ(load_space_texture_for_server(&space), nullptr);
    write_file("text.png", small_png());
    EXPECT_NE(load_space_texture_for_server(&space), nullptr);
    EXPECT_EQ(all_requests(), Texts{});
}

TEST_F(SpaceImages, AThirtyThirdTextureTakesTheFirstPlace) {
    const GObjectPtr<GdkTexture> texture = decode_space_image(bytes_of(small_png()));
    set_cached_space_texture("", texture.get());
    set_cached_space_texture("s0", nullptr);
    EXPECT_EQ(g_space_image_cache_count, 0);
    for (int i = 0; i < 33; ++i) {
        set_cached_space_texture(("s" + std::to_string(i)).c_str(), texture.get());
    }
    EXPECT_EQ(g_space_image_cache_count, 32);
    EXPECT_EQ(find_space_image_cache_index("s0"), -1);
    EXPECT_EQ(find_space_image_cache_index("s32"), 0);
    EXPECT_EQ(find_space_image_cache_index("s31"), 31);
    EXPECT_EQ(G_OBJECT(texture.get())->ref_count, 33U);
    answer("GET /api/spaces/s0/image", 200, small_png());
    EXPECT_NE(load_space_texture_for_server(&add_space("s0", "Uno")), nullptr);
    EXPECT_EQ(pictures_asked_for(), Texts{"GET /api/spaces/s0/image"});
}

// --- The hub's list
// -------------------------------------------------------------------------------

TEST_F(SpaceImages, TheListShowsWhatTheBackendHasElseTheDefault) {
    answer("GET /api/spaces/s1/image", 200, small_png());
    answer("GET /api/spaces/s3/image", 200, "no picture");
    answer("GET /api/spaces/s4/image", 200, "");
    run_interface([] {
        for (const char* const id : {"s1", "s2", "s3", "s4"}) {
            add_space(id, id);
        }
        show_hub();
        EXPECT_TRUE(shows_picture(0));
        EXPECT_EQ(gtk_image_get_pixel_size(thumbnail(0)), 36);
        int width = 0;
        int height = 0;
        gtk_widget_get_size_request(GTK_WIDGET(thumbnail(0)), &width, &height);
        EXPECT_EQ(width, 36);
        EXPECT_EQ(height, 36);
        for (const std::size_t other : {1U, 2U, 3U}) {
            EXPECT_FALSE(shows_picture(other)) << other;
        }
    });
}

TEST_F(SpaceImages, AChosenFileGoesBeforeTheBackend) {
    write_file("radio.png", small_png());
    run_interface([this] {
        set_local_space_image_path("s1", "radio.png");
        set_local_space_image_path("s2", "gone.png");
        add_space("s1", "Uno");
        add_space("s2", "Dos");
        show_hub();
        EXPECT_TRUE(shows_picture(0));
        EXPECT_EQ(pictures_asked_for(), Texts{"GET /api/spaces/s2/image"});
    });
}

TEST_F(SpaceImages, PicturesAreFetchedWhenTheSpacesAreLoadedAndNotWhenSomebodySpeaks) {
    answer("GET /api/spaces", 200, R"({"spaces":[{"id":"s1","name":"Uno"}]})");
    run_interface([this] {
        show_hub();
        char error[64] = "";
        backend_load_spaces(error);
        EXPECT_EQ(pictures_asked_for().size(), 1U);
        g_selected_server_index = 0;
        refresh_hub_server_list();
        be_in_room("r1", {make_peer("luis", true)});
        refresh_hub_server_list();
        EXPECT_EQ(pictures_asked_for().size(), 1U);
        backend_load_spaces(error);
        EXPECT_EQ(pictures_asked_for().size(), 2U);
        set_local_space_image_path("s1", "gone.png"); // another picture
        refresh_hub_server_list();
        EXPECT_EQ(pictures_asked_for().size(), 3U);
    });
}

TEST_F(SpaceImages, WhereNobodyAnswersTheOtherSpacesDoNotWait) {
    refuse("GET /api/spaces/s1/image");
    run_interface([this] {
        for (const char* const id : {"s1", "s2", "s3"}) {
            add_space(id, id);
        }
        show_hub();
        EXPECT_EQ(pictures_asked_for(), Texts{"GET /api/spaces/s1/image"});
    });
}

TEST_F(SpaceImages, WithoutASessionTheListAsksForNothing) {
    g_session_token[0] = '\0';
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        EXPECT_FALSE(shows_picture(0));
        EXPECT_EQ(all_requests(), Texts{});
    });
}

} // namespace
