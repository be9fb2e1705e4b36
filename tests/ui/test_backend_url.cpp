// See test_backend_url.h. Stands in for backend/backend_address.cpp.
#include "test_backend_url.h"

#include "backend/endpoints.h"

namespace {

std::string g_url;

} // namespace

const char* get_selected_backend_url() {
    return g_url.c_str();
}

void set_test_backend_url(const std::string& url) {
    g_url = url;
}
