// Makes any bytes fit for a widget; whatever comes from a fixed buffer or a server passes here.
#pragma once

#include <string>

/// Valid UTF-8 for `text` (null: ""). A character cut in two at the end is dropped, bytes that are
/// not UTF-8 elsewhere become U+FFFD.
std::string display_text(const char* text);
