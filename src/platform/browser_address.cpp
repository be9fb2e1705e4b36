// See browser_address.h.
#include "platform/browser_address.h"

#include "base/ascii.h"

#include <algorithm>

namespace {

/// True when there is something behind the scheme, too.
bool has_scheme(std::string_view address, std::string_view scheme) {
    return address.size() > scheme.size() && ascii_begins_with(address, scheme);
}

bool may_stand_in_an_address(char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte > ' ' && byte != 0x7F && letter != '"';
}

} // namespace

bool is_browser_address(std::string_view address) {
    return (has_scheme(address, "http://") || has_scheme(address, "https://")) &&
           std::all_of(address.begin(), address.end(), may_stand_in_an_address);
}
