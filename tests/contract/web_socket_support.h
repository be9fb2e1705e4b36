// What the tests of the web socket seam share: frames as bytes, the server's steps, and messages
// put together again.
#pragma once

#include "contract/web_system.h"
#include "platform/web_socket.h"
#include "platform/web_socket_rules.h"
#include "support/web_script.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

constexpr int k_text_frame = 1;
constexpr int k_binary_frame = 2;
constexpr int k_close_frame = 8;
constexpr int k_ping_frame = 9;
constexpr int k_pong_frame = 10;

/// A frame as a server sends it: `first` is the opcode and what else is in the first byte.
std::string socket_frame(int first, std::string_view payload);
/// The same, whole.
std::string whole_frame(int opcode, std::string_view payload);
std::string text_frame(std::string_view payload);
std::string close_frame(std::uint16_t status, std::string_view reason = {});

/// What the server does, in order; tests/support/web_socket_server.py tells each.
class SocketSteps {
  public:
    SocketSteps& upgrade(std::string_view how = {});
    SocketSteps& swallow();
    SocketSteps& write(std::string_view bytes);
    SocketSteps& flood(std::size_t times, std::string_view bytes);
    SocketSteps& expect(int opcode);
    SocketSteps& echo();
    SocketSteps& gate(std::string_view name);
    SocketSteps& note(std::string_view text);
    SocketSteps& end(std::string_view how = {});

    const std::string& text() const { return m_text; }

  private:
    SocketSteps& add(std::string_view verb, std::string_view rest);

    std::string m_text;
};

/// Where `url` of a WebScript leads.
WebSocketAddress socket_address(const std::string& url, std::string& host, const char* path);

/// A message, or what came in its place.
struct SocketMessage {
    WebSocketEvent event = WebSocketEvent::failed;
    std::string text;
    std::uint32_t code = 0;
    std::size_t pieces = 0;
};

/// Waits for all pieces, each in a buffer of `size` bytes.
SocketMessage receive_message(WebSocket& socket, std::size_t size = 8191);

/// True when `socket` comes to an end, as closed or failed, before it has received `most` messages.
bool ends_after_messages(WebSocket& socket, std::size_t most);

/// Patience for as long as it lives; begin and end it while nothing is open.
class WithPatience {
  public:
    explicit WithPatience(const WebSocketPatience& patience) { g_web_socket_patience = patience; }
    WithPatience(const WithPatience&) = delete;
    WithPatience& operator=(const WithPatience&) = delete;
    ~WithPatience() { g_web_socket_patience = m_usual; }

  private:
    WebSocketPatience m_usual = g_web_socket_patience;
};

/// How long a call took.
template <typename Call>
std::chrono::milliseconds time_of(Call call) {
    const auto begin = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 begin);
}

/// A server that begins anew with every test.
class WebSocketTest : public testing::Test {
  protected:
    /// What the server does to the next who ask for /ws.
    void serve(const SocketSteps& steps);
    void serve(const WebAnswer& answer) { m_web.answer("GET /ws", answer); }

    /// Opens it; null after a failure, which m_failure tells.
    WebSocketPtr open();
    WebSocketPtr open_at(const std::string& url, const char* path = "/ws");
    WebSocketPtr open(const SocketSteps& steps);

    /// False where what stands in for the system takes liberties: Wine's WinHTTP looks at nothing
    /// in an upgrade but its status, lets frames pass that nobody may send, and takes a ping that
    /// says something for the connection's end.
    static bool is_exact() { return web_inexactness().empty(); }

    /// How often the server has come to this note, so far.
    std::size_t notes(std::string_view text) const;

    /// The frames that the server has read, once `count` of this kind are among them.
    std::vector<WebSeen> frames(int opcode, std::size_t count);

    WebScript m_web;
    WebSocketFailure m_failure{"", 0};
};
