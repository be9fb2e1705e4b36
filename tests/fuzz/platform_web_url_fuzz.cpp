// Takes addresses apart and follows redirects to them: what is understood goes out as the bytes
// that a request may hold, and reads the same a second time.
#include "platform/linux/web_place.h"
#include "platform/web_url.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool is_sent_as_it_is(char c) {
    return c > ' ' && c < 0x7F;
}

void check(const WebUrl& url) {
    expect(!url.host.empty() && url.port != 0);
    expect(url.host.find_first_of("/?#@ \"\\\r\n") == std::string::npos);
    expect(url.target.starts_with('/') && url.target.find('#') == std::string::npos);
    expect(std::ranges::all_of(url.target, is_sent_as_it_is));

    const auto again = web_url_of(web_url_text(url));
    expect(again && again->is_secure == url.is_secure && again->host == url.host &&
           again->port == url.port && again->target == url.target);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    if (const auto url = web_url_of(bytes)) {
        check(*url);
    }
    const WebUrl base{true, "velmo.example", 443, "/api/spaces?sessionToken=t"};
    if (const auto place = web_place_of(base, bytes)) {
        check(*place);
    }
    return 0;
}
