// The HTTP request with which a web socket begins, and its answer. Used by the connections.
#pragma once

#include <string>
#include <string_view>

struct HandshakeAnswer {
    bool is_accepted = false;
    std::string bytes; ///< to be sent as they are
};

/// The answer to a head, which ends with its blank line: frames follow where it is accepted. Any
/// bytes will do.
HandshakeAnswer answer_handshake(std::string_view head);

/// A refusal with this status, as JSON with an "error".
std::string http_refusal(int status);
