// Where an answer sends a request on to. Private to the Linux half of the web seam; on Windows the
// system follows by itself.
#pragma once

#include "platform/web_url.h"

#include <optional>
#include <string_view>

/// `location` as the answer's header has it, taken from `base` where it is a relative one. Empty
/// when it is not understood.
std::optional<WebUrl> web_place_of(const WebUrl& base, std::string_view location);
