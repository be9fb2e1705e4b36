// Pictures of spaces: those that the user has just chosen, those that the backend serves, and what
// stands in for them. Used by the hub's list and by the popup that creates a space. Main thread.
#pragma once

#include "backend/hub_tables.h"
#include "ui/ui_internal.h"

#include <cstdint>
#include <span>
#include <string>

// Files that were chosen while the program runs (space_image_files.cpp).
struct LocalSpaceImage {
    char space_id[128];
    char path[512];
};

constexpr std::int32_t k_space_images_max = 32;

extern LocalSpaceImage g_local_space_images[k_space_images_max];
extern std::int32_t g_local_space_image_count;

/// Null for none. Valid until it is set anew.
const char* get_local_space_image_path(const char* space_id);

/// Ignores an empty id or path, and a 33rd space.
void set_local_space_image_path(const char* space_id, const char* path);

/// Reads a picture to send: its base64 text and its MIME type, of PNG, JPEG, WEBP or GIF, 5 MiB at
/// most. False with a sentence in `error`; `base64` is then empty. Whatever the file is, it does
/// not take long.
bool load_space_image_as_base64(const char* path, std::string* base64, std::span<char> mime_type,
                                std::span<char> error);

// Pictures (space_image_decode.cpp).

/// The picture of these bytes, scaled down to 256 pixels at most either way; null for none, and for
/// one so large that decoding it would be felt. A truncated one is none.
GObjectPtr<GdkTexture> decode_space_image(std::span<const std::uint8_t> bytes);

/// "image/png" and the like by the first bytes; empty for none of the four kinds.
const char* space_image_mime_type(std::span<const std::uint8_t> bytes);

/// Whether this system can show pictures of the kind.
bool can_decode_space_image(const char* mime_type);

// What is shown (space_images.cpp). Blocks for its downloads.

/// The spaces were loaded anew: their pictures are fetched again.
void renew_space_pictures();

/// What the space's picture follows from: as long as it is the same, a picture that is shown stays.
/// The list is refreshed whenever somebody begins to speak, and a download makes everybody wait.
std::string space_picture_identity(const HubSpace& space);

struct CachedSpaceImage {
    char space_id[128];
    GObjectPtr<GdkTexture> texture;
};

extern CachedSpaceImage g_space_image_cache[k_space_images_max];
extern std::int32_t g_space_image_cache_count;

std::int32_t find_space_image_cache_index(const char* space_id);

/// Borrowed from the cache; null for none.
GdkTexture* get_cached_space_texture(const char* space_id);

/// Keeps a reference of its own; with all 32 places taken in the first of them.
void set_cached_space_texture(const char* space_id, GdkTexture* texture);

/// Borrowed from the cache, which it fills from the chosen file or the backend; null for none.
GdkTexture* load_space_texture_for_server(const HubSpace* space);

/// A new image widget of this size: the chosen file, else what the backend has now, else the
/// default picture. Does not use the cache.
GtkWidget* create_space_thumbnail_for_server(const HubSpace* space, std::int32_t pixel_size);
