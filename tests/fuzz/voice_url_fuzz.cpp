// Reads voice addresses: the host must be a piece of the address without its marks.
#include "voice/voice_internal.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

void desktop_debug_output(const char*) {}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string url(reinterpret_cast<const char*>(data), size);
    const VoiceEndpoint endpoint = parse_voice_url(url.c_str());
    const std::string_view host = endpoint.host;
    const std::string_view address = url.c_str();
    if (host.size() >= sizeof endpoint.host || host.find_first_of(":/") != std::string_view::npos ||
        address.find(host) > std::strlen("udp://")) {
        std::abort();
    }
    if (address.find(':') == std::string_view::npos && endpoint.port != k_voice_default_port) {
        std::abort();
    }
    return 0;
}
