// See soup_support.h.
#include "platform/linux/soup_support.h"

#include <libsoup/soup.h>

#include <string>

UriPtr soup_uri_of(const WebUrl& url) {
    std::string host = url.host;
    if (host.front() == '[') {
        host = host.substr(1, host.size() - 2);
    }
    const std::size_t question = url.target.find('?');
    const std::string path = url.target.substr(0, question);
    const char* query = question == std::string::npos ? nullptr : url.target.c_str() + question + 1;
    return UriPtr(g_uri_build(static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS),
                              url.is_secure ? "https" : "http", nullptr, host.c_str(), url.port,
                              path.c_str(), query, nullptr));
}
