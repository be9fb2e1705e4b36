// What the hub shows as a space's picture. See ui/hub/space_images_internal.h.
#include "ui/hub/space_images_internal.h"

#include "backend/endpoints.h"
#include "backend/http_transport.h"
#include "backend/identity.h"
#include "base/text.h"

#include <cstring>

namespace {

std::uint32_t g_generation = 0;
bool g_is_unanswered = false; // the others of this generation would wait as long, one after another

bool starts_with(const char* text, const char* beginning) {
    return std::strncmp(text, beginning, std::strlen(beginning)) == 0;
}

// The token goes as it stands, behind a "?" in any case.
void write_image_url(const HubSpace& space, char (&url)[1024]) {
    if (is_empty(space.imageUrl)) {
        format_text(url, "%s/api/spaces/%s/image?sessionToken=%s", g_backend_url, space.id,
                    g_session_token);
    } else if (starts_with(space.imageUrl, "http://") || starts_with(space.imageUrl, "https://")) {
        format_text(url, "%s?sessionToken=%s", space.imageUrl, g_session_token);
    } else {
        format_text(url, "%s%s?sessionToken=%s", g_backend_url, space.imageUrl, g_session_token);
    }
}

GObjectPtr<GdkTexture> download_picture(const HubSpace& space) {
    char url[1024];
    write_image_url(space, url);
    std::uint32_t status = 0;
    ByteBlock bytes;
    std::uint64_t size = 0;
    constexpr std::uint32_t k_ok = 200;
    if (g_is_unanswered || !http_get_binary(url, &status, &bytes, &size)) {
        g_is_unanswered = true;
        return nullptr;
    }
    if (status != k_ok || bytes == nullptr) {
        return nullptr;
    }
    return decode_space_image({bytes.get(), static_cast<std::size_t>(size)});
}

GObjectPtr<GdkTexture> read_local_picture(const char* path) {
    gchar* contents = nullptr;
    gsize size = 0;
    if (g_file_test(path, G_FILE_TEST_IS_REGULAR) == FALSE ||
        g_file_get_contents(path, &contents, &size, nullptr) == FALSE) {
        return nullptr;
    }
    const GCharPtr owner(contents);
    return decode_space_image({reinterpret_cast<const std::uint8_t*>(contents), size});
}

GtkWidget* create_image(GdkTexture* texture, std::int32_t pixel_size) {
    GtkWidget* const image = gtk_image_new_from_paintable(GDK_PAINTABLE(texture));
    gtk_image_set_pixel_size(GTK_IMAGE(image), pixel_size);
    gtk_widget_set_size_request(image, pixel_size, pixel_size);
    return image;
}

} // namespace

CachedSpaceImage g_space_image_cache[k_space_images_max];
std::int32_t g_space_image_cache_count = 0;

void renew_space_pictures() {
    ++g_generation;
    g_is_unanswered = false;
}

std::string space_picture_identity(const HubSpace& space) {
    return std::to_string(g_generation) + '\n' + space.imageUrl + '\n' +
           or_empty(get_local_space_image_path(space.id));
}

std::int32_t find_space_image_cache_index(const char* space_id) {
    for (std::int32_t i = 0; !is_empty(space_id) && i < g_space_image_cache_count; ++i) {
        if (std::strcmp(g_space_image_cache[i].space_id, space_id) == 0) {
            return i;
        }
    }
    return -1;
}

GdkTexture* get_cached_space_texture(const char* space_id) {
    const std::int32_t index = find_space_image_cache_index(space_id);
    return index >= 0 ? g_space_image_cache[index].texture.get() : nullptr;
}

void set_cached_space_texture(const char* space_id, GdkTexture* texture) {
    if (is_empty(space_id) || texture == nullptr) {
        return;
    }
    std::int32_t index = find_space_image_cache_index(space_id);
    if (index < 0) {
        index = g_space_image_cache_count < k_space_images_max ? g_space_image_cache_count++ : 0;
    }
    copy_text(g_space_image_cache[index].space_id, space_id);
    g_space_image_cache[index].texture.reset(static_cast<GdkTexture*>(g_object_ref(texture)));
}

GdkTexture* load_space_texture_for_server(const HubSpace* space) {
    if (space == nullptr || is_empty(space->id)) {
        return nullptr;
    }
    if (GdkTexture* const cached = get_cached_space_texture(space->id)) {
        return cached;
    }
    const char* const path = get_local_space_image_path(space->id);
    GObjectPtr<GdkTexture> texture = path != nullptr ? read_local_picture(path) : nullptr;
    if (texture == nullptr && !is_empty(g_session_token)) {
        texture = download_picture(*space);
    }
    set_cached_space_texture(space->id, texture.get());
    return get_cached_space_texture(space->id);
}

GtkWidget* create_space_thumbnail_for_server(const HubSpace* space, std::int32_t pixel_size) {
    GObjectPtr<GdkTexture> texture;
    if (space != nullptr && !is_empty(space->id)) {
        const char* const path = get_local_space_image_path(space->id);
        if (path != nullptr && g_file_test(path, G_FILE_TEST_IS_REGULAR) != FALSE) {
            texture = read_local_picture(path);
        } else if (!is_empty(g_session_token)) {
            texture = download_picture(*space);
        }
    }
    return texture != nullptr ? create_image(texture.get(), pixel_size)
                              : create_space_thumbnail_image(pixel_size);
}
