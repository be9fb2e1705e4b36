// The address that the program takes for its built-in one; a test's scripted server here.
#pragma once

#include <string>

/// `url` without a slash at its end, at most 127 bytes.
void set_test_backend_url(const std::string& url);
