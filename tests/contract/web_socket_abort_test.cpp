// The web socket seam: who is kept waiting by a peer, and is let go. Both systems must behave
// alike.
#include "contract/web_socket_support.h"
#include "contract/web_system.h"
#include "platform/web_socket_rules.h"

#include <gtest/gtest.h>

#include <future>

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t k_cancelled = 12017;

/// Longer than any of them takes to return, shorter than what they would wait for.
constexpr auto k_at_once = 2s;

class WebSocketAborting : public WebSocketTest {
  protected:
    ~WebSocketAborting() override { m_web.open_gate("never"); }

    static SocketSteps deaf() { return SocketSteps().upgrade("deaf").gate("never"); }

    /// A connection to a server that reads nothing, and a thread whose send waits for it.
    std::future<bool> send_in_vain(WebSocket& socket) {
        auto sent = std::async(std::launch::async, [&socket] {
            const std::string text(32U << 20U, 'x');
            // One may be taken that does not fit; the next has to wait for it.
            return web_socket_send_text(socket, text) && web_socket_send_text(socket, text);
        });
        EXPECT_EQ(sent.wait_for(300ms), std::future_status::timeout) << "it waits";
        return sent;
    }
};

TEST_F(WebSocketAborting, AnOpeningIsStopped) {
    WebAnswer answer;
    answer.head_gate = "never";
    serve(answer);
    StopEvent stop;
    auto opened = std::async(std::launch::async, [&] {
        std::string host;
        return web_socket_open(socket_address(m_web.url(), host, "/ws"), m_failure, &stop) !=
               nullptr;
    });
    EXPECT_EQ(opened.wait_for(300ms), std::future_status::timeout) << "it waits";
    EXPECT_LT(time_of([&] {
                  stop.set();
                  EXPECT_FALSE(opened.get());
              }),
              k_at_once);
    EXPECT_EQ(m_failure.code, k_cancelled);
    m_web.forget_answers();
    EXPECT_TRUE(open(SocketSteps().upgrade().gate("never"))) << "the next one is not hindered";
}

TEST_F(WebSocketAborting, AStopBeforeTheOpeningEndsItAndOneAfterItIsNothing) {
    serve(SocketSteps().upgrade().echo());
    StopEvent stop;
    std::string host;
    const auto address = socket_address(m_web.url(), host, "/ws");
    const WebSocketPtr socket = web_socket_open(address, m_failure, &stop);
    ASSERT_TRUE(socket);
    stop.set();
    EXPECT_TRUE(web_socket_send_text(*socket, "a"));
    EXPECT_EQ(receive_message(*socket).text, "a");
    web_socket_abort(*socket);
    m_failure = {"", 0};
    EXPECT_FALSE(web_socket_open(address, m_failure, &stop));
    EXPECT_EQ(m_failure.code, k_cancelled);
}

TEST_F(WebSocketAborting, EndsASendThatWaits) {
    const auto socket = open(deaf());
    ASSERT_TRUE(socket);
    auto sent = send_in_vain(*socket);
    EXPECT_LT(time_of([&] {
                  web_socket_abort(*socket);
                  EXPECT_FALSE(sent.get());
              }),
              k_at_once);
}

TEST_F(WebSocketAborting, EndsAReceiveThatWaits) {
    const auto socket = open(SocketSteps().upgrade().gate("never"));
    ASSERT_TRUE(socket);
    auto received = std::async(std::launch::async, [&socket] { return receive_message(*socket); });
    EXPECT_EQ(received.wait_for(100ms), std::future_status::timeout) << "it waits";
    EXPECT_LT(time_of([&] {
                  web_socket_abort(*socket);
                  const SocketMessage end = received.get();
                  EXPECT_EQ(end.event, WebSocketEvent::failed);
                  EXPECT_EQ(end.code, k_cancelled);
              }),
              k_at_once);
}

TEST_F(WebSocketAborting, EndsACloseThatWaits) {
    const WithPatience patience({.closing = 10s});
    const auto socket = open(deaf());
    ASSERT_TRUE(socket);
    auto closed = std::async(std::launch::async, [&socket] { web_socket_close(*socket, 1000); });
    EXPECT_EQ(closed.wait_for(100ms), std::future_status::timeout) << "it waits";
    EXPECT_LT(time_of([&] {
                  web_socket_abort(*socket);
                  closed.get();
              }),
              k_at_once);
}

TEST_F(WebSocketAborting, EndsASendAndAReceiveTogether) {
    const auto socket = open(deaf());
    ASSERT_TRUE(socket);
    auto received = std::async(std::launch::async, [&socket] { return receive_message(*socket); });
    auto sent = send_in_vain(*socket);
    EXPECT_LT(time_of([&] {
                  web_socket_abort(*socket);
                  EXPECT_FALSE(sent.get());
                  EXPECT_EQ(received.get().event, WebSocketEvent::failed);
              }),
              k_at_once);
}

TEST_F(WebSocketAborting, AllThatFollowsFailsAtOnceAndSaysNothing) {
    const auto socket = open(SocketSteps().upgrade().write(text_frame("unread")).echo());
    ASSERT_TRUE(socket);
    web_socket_abort(*socket);
    web_socket_abort(*socket);
    EXPECT_LT(time_of([&socket] {
                  EXPECT_FALSE(web_socket_send_text(*socket, "too late"));
                  EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed);
                  EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed) << "again";
                  web_socket_close(*socket, 1000);
              }),
              900ms);
    EXPECT_EQ(frames(k_text_frame, 0).size(), 0U);
    EXPECT_EQ(frames(k_close_frame, 0).size(), 0U);
}

TEST_F(WebSocketAborting, CloseAfterASendThatWasCutShortReturnsAtOnce) {
    const auto socket = open(deaf());
    ASSERT_TRUE(socket);
    auto sent = send_in_vain(*socket);
    web_socket_abort(*socket);
    EXPECT_FALSE(sent.get());
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 900ms);
}

TEST_F(WebSocketAborting, AfterwardsItIsLetGoOfAtOnceAndNothingStaysOpen) {
    const auto use = [this] {
        m_web.forget_answers();
        auto socket = open(deaf());
        ASSERT_TRUE(socket);
        auto sent = send_in_vain(*socket);
        web_socket_abort(*socket);
        EXPECT_FALSE(sent.get());
        EXPECT_LT(time_of([&socket] { socket.reset(); }), k_at_once);
    };
    use(); // what the system keeps for good
    const int before = web_open_handles();
    use();
    use();
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (web_open_handles() > before && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_LE(web_open_handles(), before);
}

} // namespace
