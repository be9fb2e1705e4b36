// A request and its answer, apart from any socket. Used by all of service/rest.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct RestRequest {
    std::string method;
    std::string path;  ///< as it was sent, still escaped
    std::string query; ///< the same, without its question mark
    std::string content_type;
    std::string body;
    std::string host; ///< what the client called this server, with the port; may be empty
    std::string accept_language; ///< may be empty
    std::string if_none_match;   ///< may be empty
};

struct RestAnswer {
    int status = 200;
    std::string content_type; ///< empty without a body
    std::string body;
    /// In place of `body`, where several answers share it.
    std::shared_ptr<const std::string> shared_body;
    std::vector<std::pair<const char*, std::string>> headers;
};

/// {"error":"..."} with this status. `text` is shown to the user as it is.
RestAnswer error_answer(int status, std::string_view text);

/// A JSON text with this status.
RestAnswer json_answer(int status, std::string body);
