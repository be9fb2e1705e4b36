// Pictures of spaces. Called by the answers about spaces.
#pragma once

#include <optional>
#include <string>
#include <string_view>

class Database;

struct Image {
    std::string content_type;
    std::string etag; ///< changes with the bytes; without quotes
    std::string data;
};

/// What the bytes are by their beginning: image/png, image/jpeg, image/webp, image/gif, or empty.
std::string_view image_content_type(std::string_view data);

/// An image of these bytes, with its content type and tag. Empty when they are none.
std::optional<Image> make_image(std::string data);

bool store_image(Database& database, std::string_view space_id, const Image& image);

/// The image without its bytes.
std::optional<Image> find_image_head(Database& database, std::string_view space_id);

std::string load_image_data(Database& database, std::string_view space_id);
