// See web_system.h.
#include "contract/web_system.h"

#include <gio/gio.h>

#include <filesystem>
#include <iterator>

struct WebTrust::State {
    GTlsBackend* backend = g_tls_backend_get_default();
    GTlsDatabase* former = g_tls_backend_get_default_database(backend);
    GTlsDatabase* database = nullptr;
};

WebTrust::WebTrust(const std::string& path) : m_state(std::make_unique<State>()) {
    m_state->database = g_tls_file_database_new(path.c_str(), nullptr);
    if (m_state->database != nullptr) {
        g_tls_backend_set_default_database(m_state->backend, m_state->database);
    }
}

WebTrust::~WebTrust() {
    g_tls_backend_set_default_database(m_state->backend, m_state->former);
    g_clear_object(&m_state->database);
    g_clear_object(&m_state->former);
}

bool WebTrust::is_ready() const {
    return m_state->database != nullptr;
}

int web_open_handles() {
    // The one that reads the folder is among them, each time.
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<int>(std::distance(begin(descriptors), end(descriptors)));
}

std::string_view web_inexactness() {
    return {};
}
