// What the scripted web server of scripts/with-web-server answers, and what it saw. Called by tests
// that speak HTTP, on Linux and as Windows programs; velmo_test(... WEB_SERVER) starts the server.
//
//     WebScript web;
//     web.answer("POST /login", 200, R"({"token":"t"})");
//     ... the code under test calls web.url() + "/login" ...
//     EXPECT_EQ(web.seen().at(0).body, R"({"name":"a"})");
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

enum class WebFraming {
    length,     ///< Content-Length
    chunked,    ///< one chunk per part
    until_close ///< neither: the body ends with the connection
};

enum class WebBreak { none, before_head, in_head };

/// An answer and how the server misbehaves with it.
struct WebAnswer {
    int status = 200;
    std::string body;
    /// "Name: value" each, in UTF-8. "Content-Type: application/json" and the length are added
    /// where they are missing.
    std::vector<std::string> headers;
    WebFraming framing = WebFraming::length;

    std::size_t part_size = 0;         ///< bytes sent at once; 0: all
    int head_delay = 0;                ///< milliseconds before the head
    int part_delay = 0;                ///< milliseconds between two parts
    std::string head_gate;             ///< wait before the head until open_gate of this name
    std::string body_gate;             ///< the same, after the first part
    std::optional<std::size_t> cut;    ///< end the connection after so many bytes of the body
    WebBreak broken = WebBreak::none;  ///< end it earlier still
    bool is_reset = false;             ///< an early end is a reset instead of an orderly close
    std::optional<std::string> raw;    ///< send these bytes, nothing else, and end the connection
    std::optional<std::string> socket; ///< become a web socket that takes these steps
};

/// A request as it arrived, or a frame of a web socket: the method is FRAME, the target its opcode,
/// the version "masked fin", or "unmasked" and "more", the body its payload.
struct WebSeen {
    int connection = 0; ///< the server's number of the connection; each has its own
    bool is_secure = false;
    std::string method;
    std::string target;                                       ///< path and query as sent
    std::string version;                                      ///< "HTTP/1.1"
    std::vector<std::pair<std::string, std::string>> headers; ///< in order, names as sent
    std::string body;

    /// The value of the first header of this name, whatever its case; empty when there is none.
    std::string header(std::string_view name) const;
    bool has_header(std::string_view name) const;
};

/// The server of this run of scripts/with-web-server; aborts the program, with a sentence, when
/// there is none. One at a time. All but open_gate from one thread.
class WebScript {
  public:
    /// Begins anew: no answers, nothing seen.
    WebScript();

    /// "http://127.0.0.1:PORT".
    const std::string& url() const { return m_url; }

    /// "https://localhost:PORT"; its certificate is trusted by nobody until a test sees to that.
    const std::string& tls_url() const { return m_tls_url; }

    /// "http://[::1]:PORT"; empty on a machine without IPv6.
    const std::string& ipv6_url() const { return m_ipv6_url; }

    /// "http://127.0.0.1:PORT" of a port that refuses every connection.
    const std::string& closed_url() const { return m_closed_url; }

    /// Appends to the answers for `request`: "METHOD /path", for whatever query, or
    /// "METHOD /path?query", which wins. Each is given once, in order; the last is repeated. A
    /// request without any gets 404 and {}.
    void answer(std::string_view request, const WebAnswer& answer);
    void answer(std::string_view request, int status, std::string_view body);

    /// Forgets all answers; what was seen stays.
    void forget_answers();

    /// All requests so far, in order. A request is there before its answer begins.
    std::vector<WebSeen> seen() const;

    /// Waits until so many requests have arrived; false after ten seconds. For those whose answer
    /// is held back by a gate.
    bool wait_for_requests(std::size_t count) const;

    /// Lets the answers that wait for `gate` (letters only) go on, these and all later ones. They
    /// give up after 30 seconds. Any thread.
    void open_gate(std::string_view gate) const;

  private:
    std::string m_folder;
    std::string m_url;
    std::string m_tls_url;
    std::string m_closed_url;
    std::string m_ipv6_url;
};
