// Pictures that were chosen from the disk. See ui/hub/space_images_internal.h.
#include "base/text.h"
#include "ui/hub/space_images_internal.h"
#include "ui/localisation.h"

#include <gio/gio.h>

#include <cstring>
#include <vector>

namespace {

constexpr std::size_t k_image_bytes_max = 5'242'880;

LocalSpaceImage* find_local_image(const char* space_id) {
    for (std::int32_t i = 0; i < g_local_space_image_count; ++i) {
        if (std::strcmp(g_local_space_images[i].space_id, space_id) == 0) {
            return &g_local_space_images[i];
        }
    }
    return nullptr;
}

/// One byte more than is allowed is all that is read of a file of any size; a pipe or a device,
/// which may never end, is not opened.
bool read_file(const char* path, std::vector<std::uint8_t>& bytes, std::span<char> error) {
    const GObjectPtr<GFile> file(g_file_new_for_path(path));
    GErrorSlot failure;
    const GFileType type = g_file_query_file_type(file.get(), G_FILE_QUERY_INFO_NONE, nullptr);
    if (type == G_FILE_TYPE_SPECIAL) {
        copy_text(error, tr("msg_space_image_invalid"));
        return false;
    }
    const GObjectPtr<GFileInputStream> stream(g_file_read(file.get(), nullptr, failure.address()));
    gsize size = 0;
    bytes.resize(k_image_bytes_max + 1);
    if (stream == nullptr ||
        g_input_stream_read_all(G_INPUT_STREAM(stream.get()), bytes.data(), bytes.size(), &size,
                                nullptr, failure.address()) == FALSE) {
        copy_text(error, failure ? failure->message : tr("msg_space_image_invalid"));
        return false;
    }
    bytes.resize(size);
    return true;
}

bool is_usable(std::span<const std::uint8_t> bytes, const char* mime_type) {
    return *mime_type != '\0' &&
           (!can_decode_space_image(mime_type) || decode_space_image(bytes) != nullptr);
}

} // namespace

LocalSpaceImage g_local_space_images[k_space_images_max];
std::int32_t g_local_space_image_count = 0;

const char* get_local_space_image_path(const char* space_id) {
    const LocalSpaceImage* const image = is_empty(space_id) ? nullptr : find_local_image(space_id);
    return image != nullptr && !is_empty(image->path) ? image->path : nullptr;
}

void set_local_space_image_path(const char* space_id, const char* path) {
    if (is_empty(space_id) || is_empty(path)) {
        return;
    }
    LocalSpaceImage* image = find_local_image(space_id);
    if (image == nullptr && g_local_space_image_count < k_space_images_max) {
        image = &g_local_space_images[g_local_space_image_count++];
        copy_text(image->space_id, space_id);
    }
    if (image != nullptr) {
        copy_text(image->path, path);
    }
}

bool load_space_image_as_base64(const char* path, std::string* base64, std::span<char> mime_type,
                                std::span<char> error) {
    if (is_empty(path) || base64 == nullptr || mime_type.empty()) {
        copy_text(error, tr("msg_space_image_invalid"));
        return false;
    }
    base64->clear();
    copy_text(mime_type, "");
    std::vector<std::uint8_t> bytes;
    if (!read_file(path, bytes, error)) {
        return false;
    }
    if (bytes.empty() || bytes.size() > k_image_bytes_max) {
        copy_text(error, tr("msg_space_image_too_large")); // of an empty one, too
        return false;
    }
    const char* const type = space_image_mime_type(bytes);
    if (!is_usable(bytes, type)) {
        copy_text(error, tr("msg_space_image_invalid"));
        return false;
    }
    copy_text(mime_type, type);
    const GCharPtr encoded(g_base64_encode(bytes.data(), bytes.size()));
    *base64 = encoded.get();
    return true;
}
