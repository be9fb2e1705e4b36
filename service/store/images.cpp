// See service/store/images.h.
#include "service/store/images.h"

#include "service/store/database.h"
#include "service/store/random_text.h"

#include <sodium.h>

#include <array>
#include <span>

using namespace std::string_view_literals;

std::string_view image_content_type(std::string_view data) {
    if (data.starts_with("\x89PNG\r\n\x1A\n"sv)) {
        return "image/png";
    }
    if (data.starts_with("\xFF\xD8\xFF"sv)) {
        return "image/jpeg";
    }
    if (data.starts_with("GIF87a"sv) || data.starts_with("GIF89a"sv)) {
        return "image/gif";
    }
    if (data.starts_with("RIFF"sv) && data.size() >= 12 && data.substr(8, 4) == "WEBP"sv) {
        return "image/webp";
    }
    return {};
}

std::optional<Image> make_image(std::string data) {
    const std::string_view type = image_content_type(data);
    if (type.empty()) {
        return std::nullopt;
    }
    const TokenHash hash = hash_of_token(data);
    std::array<char, 2 * 16 + 1> etag{};
    sodium_bin2hex(etag.data(), etag.size(), hash.data(), 16);
    return Image{std::string(type), etag.data(), std::move(data)};
}

bool store_image(Database& database, std::string_view space_id, const Image& image) {
    const std::span bytes(reinterpret_cast<const unsigned char*>(image.data.data()),
                          image.data.size());
    Statement insert(database,
                     "INSERT OR REPLACE INTO space_images (space_id, content_type, etag, data)"
                     " VALUES (?, ?, ?, ?)",
                     space_id, image.content_type, image.etag, bytes);
    return insert.run();
}

std::optional<Image> find_image_head(Database& database, std::string_view space_id) {
    Statement find(database, "SELECT content_type, etag FROM space_images WHERE space_id = ?",
                   space_id);
    return find.next() ? std::optional(Image{find.text(0), find.text(1), {}}) : std::nullopt;
}

std::string load_image_data(Database& database, std::string_view space_id) {
    Statement load(database, "SELECT data FROM space_images WHERE space_id = ?", space_id);
    return load.next() ? load.text(0) : std::string();
}
