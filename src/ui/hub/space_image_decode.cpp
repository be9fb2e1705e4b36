// Recognises and decodes pictures. See ui/hub/space_images_internal.h. They come from other people:
// their header says how much decoding would take, before it begins.
#include "ui/hub/space_images_internal.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr std::int64_t k_pixels_max = 64'000'000;
constexpr int k_side_max = 256; // enough for a thumbnail on any screen

struct Decoding {
    bool is_too_large = false;
};

void on_size_prepared(GdkPixbufLoader* loader, int width, int height, gpointer data) {
    auto& decoding = *static_cast<Decoding*>(data);
    if (width <= 0 || height <= 0 || std::int64_t{width} * height > k_pixels_max) {
        decoding.is_too_large = true;
        gdk_pixbuf_loader_set_size(loader, 0, 0); // do not decode it
        return;
    }
    const double scale = std::min(1.0, static_cast<double>(k_side_max) / std::max(width, height));
    gdk_pixbuf_loader_set_size(loader, std::max(1, static_cast<int>(width * scale)),
                               std::max(1, static_cast<int>(height * scale)));
}

bool has_at(std::span<const std::uint8_t> bytes, std::size_t offset, std::string_view expected) {
    return bytes.size() >= offset + expected.size() &&
           std::memcmp(bytes.data() + offset, expected.data(), expected.size()) == 0;
}

/// Feeds the loader bit by bit, so that a header that asks for too much ends it early.
bool feed(GdkPixbufLoader* loader, std::span<const std::uint8_t> bytes, const Decoding& decoding) {
    constexpr std::size_t k_part = 64 * 1024;
    while (!bytes.empty()) {
        const std::span<const std::uint8_t> part = bytes.first(std::min(k_part, bytes.size()));
        if (decoding.is_too_large ||
            gdk_pixbuf_loader_write(loader, part.data(), part.size(), nullptr) == FALSE) {
            return false;
        }
        bytes = bytes.subspan(part.size());
    }
    return !decoding.is_too_large;
}

/// Where a whole picture of the kind ends, or what comes before padding; a loader that decodes as
/// it goes does not mind what is missing.
bool is_whole(std::span<const std::uint8_t> bytes, std::string_view mime_type) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (mime_type == "image/png") {
        return text.find("IEND") != std::string_view::npos;
    }
    if (mime_type == "image/jpeg") {
        return text.rfind("\xff\xd9") != std::string_view::npos;
    }
    const std::size_t last = text.find_last_not_of('\0');
    return mime_type != "image/gif" || (last != std::string_view::npos && text[last] == '\x3b');
}

} // namespace

const char* space_image_mime_type(std::span<const std::uint8_t> bytes) {
    if (has_at(bytes, 0, "\x89PNG\r\n\x1a\n")) {
        return "image/png";
    }
    if (has_at(bytes, 0, "\xff\xd8\xff")) {
        return "image/jpeg";
    }
    if (has_at(bytes, 0, "GIF87a") || has_at(bytes, 0, "GIF89a")) {
        return "image/gif";
    }
    return has_at(bytes, 0, "RIFF") && has_at(bytes, 8, "WEBP") ? "image/webp" : "";
}

bool can_decode_space_image(const char* mime_type) {
    GSList* const formats = gdk_pixbuf_get_formats();
    bool is_known = false;
    for (const GSList* node = formats; node != nullptr; node = node->next) {
        const GStrvSlot types(
            gdk_pixbuf_format_get_mime_types(static_cast<GdkPixbufFormat*>(node->data)));
        is_known = is_known || g_strv_contains(types.get(), mime_type) != FALSE;
    }
    g_slist_free(formats);
    return is_known;
}

GObjectPtr<GdkTexture> decode_space_image(std::span<const std::uint8_t> bytes) {
    const char* const mime_type = space_image_mime_type(bytes);
    if (*mime_type == '\0' || !is_whole(bytes, mime_type)) {
        return nullptr;
    }
    const GObjectPtr<GdkPixbufLoader> loader(
        gdk_pixbuf_loader_new_with_mime_type(mime_type, nullptr));
    if (loader == nullptr) {
        return nullptr;
    }
    Decoding decoding;
    g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(on_size_prepared), &decoding);
    const bool is_fed = feed(loader.get(), bytes, decoding);
    const bool is_closed = gdk_pixbuf_loader_close(loader.get(), nullptr) != FALSE;
    GdkPixbuf* const pixbuf =
        is_fed && is_closed ? gdk_pixbuf_loader_get_pixbuf(loader.get()) : nullptr;
    return GObjectPtr<GdkTexture>(pixbuf != nullptr ? gdk_texture_new_for_pixbuf(pixbuf) : nullptr);
}
