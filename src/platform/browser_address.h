// What may be handed to a browser. Private to the desktop seam's two halves.
#pragma once

#include <string_view>

/// True for an address that begins with "http://" or "https://", in any case, and holds no blank,
/// quote or control byte, with which it could become more than one argument of the browser.
bool is_browser_address(std::string_view address);
