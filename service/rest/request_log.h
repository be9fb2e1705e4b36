// What --verbose tells of a request. Used by the connections.
#pragma once

#include "service/rest/rest_message.h"

#include <string>

/// One line: method, path and status. Whoever reads it learns no secret of a sign-in, and nothing
/// in it can change the terminal that shows it.
std::string request_log_line(const RestRequest& request, int status);
