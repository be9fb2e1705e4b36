// The address of a request as both systems take it: valid UTF-8 of a bounded length. For the HTTP
// transport.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// `url` with U+FFFD for every broken character. Empty when that takes more than `units_max` UTF-16
/// units, or for null.
std::optional<std::string> web_address(const char* url, std::size_t units_max);
