// What the tests of the web seam need from the system itself; one implementation per system.
#pragma once

#include <memory>
#include <string>
#include <string_view>

/// While it lives, secure connections of this process trust a certificate. On Windows, those of the
/// user's other programs too.
class WebTrust {
  public:
    /// `path` names a PEM file.
    explicit WebTrust(const std::string& path);
    WebTrust(const WebTrust&) = delete;
    WebTrust& operator=(const WebTrust&) = delete;
    ~WebTrust();

    bool is_ready() const;

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Descriptors or handles that this process holds.
int web_open_handles();

/// Why the strict tests say nothing about what stands in for the system here; empty: they do.
std::string_view web_inexactness();
