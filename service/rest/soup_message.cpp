// See service/rest/soup_message.h.
#include "service/rest/soup_message.h"

#include <algorithm>

namespace {

std::string header(SoupServerMessage* message, const char* name) {
    const char* const value =
        soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
    return value != nullptr && g_utf8_validate(value, -1, nullptr) ? value : "";
}

} // namespace

RestRequest read_head(SoupServerMessage* message) {
    GUri* const uri = soup_server_message_get_uri(message);
    const char* const query = g_uri_get_query(uri);
    RestRequest request;
    request.method = soup_server_message_get_method(message);
    request.path = g_uri_get_path(uri);
    request.query = query != nullptr ? query : "";
    request.content_type = header(message, "Content-Type");
    request.host = header(message, "Host");
    request.accept_language = header(message, "Accept-Language");
    request.if_none_match = header(message, "If-None-Match");
    return request;
}

std::string read_body(SoupServerMessage* message) {
    SoupMessageBody* const body = soup_server_message_get_request_body(message);
    const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(soup_message_body_flatten(body),
                                                                  g_bytes_unref);
    gsize size = 0;
    const void* const data = g_bytes_get_data(bytes.get(), &size);
    return {static_cast<const char*>(data), size};
}

std::size_t announced_body_bytes(SoupServerMessage* message) {
    SoupMessageHeaders* const headers = soup_server_message_get_request_headers(message);
    const goffset length =
        soup_message_headers_get_encoding(headers) == SOUP_ENCODING_CONTENT_LENGTH
            ? soup_message_headers_get_content_length(headers)
            : 0;
    return static_cast<std::size_t>(std::max<goffset>(length, 0));
}

std::size_t header_bytes(SoupServerMessage* message) {
    SoupMessageHeadersIter headers;
    soup_message_headers_iter_init(&headers, soup_server_message_get_request_headers(message));
    const char* name = nullptr;
    const char* value = nullptr;
    std::size_t bytes = 0;
    while (soup_message_headers_iter_next(&headers, &name, &value) != FALSE) {
        bytes += std::string_view(name).size() + std::string_view(value).size() + 4;
    }
    return bytes;
}

bool has_encoded_body(SoupServerMessage* message) {
    return !header(message, "Content-Encoding").empty();
}

void write_answer(SoupServerMessage* message, const RestAnswer& answer) {
    SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message);
    for (const auto& [name, value] : answer.headers) {
        soup_message_headers_replace(headers, name, value.c_str());
    }
    // libsoup 3.2 does not notice when a client leaves between two requests, and keeps the socket
    // for ever. Clients here come with a new connection each time anyway.
    soup_message_headers_replace(headers, "Connection", "close");
    soup_message_headers_replace(headers, "X-Content-Type-Options", "nosniff");
    if (soup_message_headers_get_one(headers, "Cache-Control") == nullptr) {
        soup_message_headers_replace(headers, "Cache-Control", "no-store");
    }
    if (!answer.content_type.empty()) {
        soup_message_headers_replace(headers, "Content-Type", answer.content_type.c_str());
    }
    SoupMessageBody* const body = soup_server_message_get_response_body(message);
    if (answer.shared_body != nullptr) {
        auto* const shared = new std::shared_ptr<const std::string>(answer.shared_body);
        GBytes* const bytes = g_bytes_new_with_free_func(
            (*shared)->data(), (*shared)->size(),
            [](gpointer owner) { delete static_cast<std::shared_ptr<const std::string>*>(owner); },
            shared);
        soup_message_body_append_bytes(body, bytes);
        g_bytes_unref(bytes);
    } else {
        soup_message_body_append(body, SOUP_MEMORY_COPY, answer.body.data(), answer.body.size());
    }
    soup_server_message_set_status(message, static_cast<unsigned>(answer.status),
                                   status_reason(answer.status));
}

const char* status_reason(int status) {
    switch (status) { // what libsoup has no words for
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    default:
        return soup_status_get_phrase(static_cast<unsigned>(status));
    }
}
