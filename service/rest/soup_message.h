// Between libsoup's messages and the service's own requests and answers. Called by the connections.
#pragma once

#include "service/rest/rest_message.h"

#include <libsoup/soup.h>

#include <cstddef>

/// The request but for its body.
RestRequest read_head(SoupServerMessage* message);

/// The body of a request that has come to its end.
std::string read_body(SoupServerMessage* message);

/// How long the head says that the body is; 0 when it does not say.
std::size_t announced_body_bytes(SoupServerMessage* message);

/// How long all headers are together.
std::size_t header_bytes(SoupServerMessage* message);

/// True when the body is encoded in some way.
bool has_encoded_body(SoupServerMessage* message);

/// Makes `answer` the message's answer, the last one on its connection.
void write_answer(SoupServerMessage* message, const RestAnswer& answer);

/// The words behind the status of an answer. Static.
const char* status_reason(int status);
