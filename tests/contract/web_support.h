// What the tests of the web seam share: one exchange from its request to the last byte, and a
// server that redirects.
#pragma once

#include "platform/web_exchange.h"
#include "support/web_script.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct WebFetched {
    bool is_answered = false;
    std::uint32_t status = 0;
    std::string body;      ///< as far as it came
    bool is_whole = false; ///< it came to its end without a failure
};

/// Opens, asks what is available, reads that in chunks of `chunk` bytes, until the end or a
/// failure, and closes.
WebFetched web_fetch(const WebRequest& request, std::size_t chunk = 512);
/// The same from an exchange that is open.
WebFetched web_read(WebExchange& exchange, std::size_t chunk = 512);
WebFetched web_get(const std::string& url);
WebFetched web_send(const char* method, const std::string& url, std::string_view body);

/// Letters that a lost, doubled or misplaced part would show in.
std::string web_long_body(std::size_t size);

/// The scripted server's certificate, a PEM file.
std::string web_certificate_path();

/// A server that begins anew with every test.
class WebTest : public testing::Test {
  protected:
    /// What comes of `answer`, to a GET.
    WebFetched get(const WebAnswer& answer);

    /// The same, open and unread.
    WebExchangePtr open(const WebAnswer& answer);

    /// An answer that is cut, its bytes before that read; null after a failure.
    WebExchangePtr open_behind_cut();

    void redirect(const std::string& request, int status, const std::string& location);

    /// What arrived last, and that so many requests did.
    WebSeen last_of(std::size_t count) const;

    WebScript m_web;
};
