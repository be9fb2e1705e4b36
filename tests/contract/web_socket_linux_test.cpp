// What only the Linux half of the web socket seam has: GLib's loop beside it, and what waits to be
// received.
#include "contract/web_socket_support.h"
#include "platform/linux/web_socket_inbox.h"
#include "platform/linux/web_socket_pings.h"
#include "platform/web_socket_rules.h"

#include <gtest/gtest.h>

#include <glib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <future>
#include <string>
#include <string_view>

namespace {

// In all tests of this program: what GLib or libsoup complain of ends it.
[[maybe_unused]] const GLogLevelFlags g_fatal = g_log_set_always_fatal(
    static_cast<GLogLevelFlags>(G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));

// Until the next timer of the interface's loop, in milliseconds; -1 when it has none.
int next_timer() {
    GMainContext* context = g_main_context_default();
    int priority = 0;
    int timeout = -1;
    g_main_context_acquire(context);
    g_main_context_prepare(context, &priority);
    g_main_context_query(context, G_MAXINT, &timeout, nullptr, 0);
    g_main_context_release(context);
    return timeout;
}

using WebSocketLoopTest = WebSocketTest;

TEST_F(WebSocketLoopTest, TheInterfacesLoopGetsNoWork) {
    const auto socket = open(SocketSteps().upgrade().echo());
    ASSERT_TRUE(socket);
    EXPECT_TRUE(web_socket_send_text(*socket, "a"));
    EXPECT_EQ(receive_message(*socket).text, "a");
    EXPECT_FALSE(open_at(m_web.closed_url()));
    EXPECT_EQ(next_timer(), -1);
}

TEST_F(WebSocketLoopTest, NoProxyStandsBetween) {
    g_setenv("http_proxy", m_web.closed_url().c_str(), TRUE);
    const auto socket = open(SocketSteps().upgrade().echo());
    g_unsetenv("http_proxy");
    EXPECT_TRUE(socket);
}

// A port whose connections the system makes, and nobody takes.
class DeafPort {
  public:
    DeafPort() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const name = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(m_socket, name, size), 0);
        EXPECT_EQ(listen(m_socket, 8), 0);
        EXPECT_EQ(getsockname(m_socket, name, &size), 0);
        m_port = ntohs(address.sin_port);
    }
    DeafPort(const DeafPort&) = delete;
    DeafPort& operator=(const DeafPort&) = delete;
    ~DeafPort() { close(m_socket); }

    std::uint16_t number() const { return m_port; }

  private:
    int m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::uint16_t m_port = 0;
};

TEST_F(WebSocketLoopTest, AnOpeningIsGivenUpInEveryStage) {
    const DeafPort port;
    const WithPatience patience({.opening = std::chrono::milliseconds(200)});
    const struct {
        bool is_secure;
        const char* stage;
    } k_cases[] = {{false, "receive-response"}, {true, "send-request"}};
    for (const auto& one : k_cases) {
        EXPECT_LT(time_of([&] {
                      EXPECT_FALSE(web_socket_open(
                          {"127.0.0.1", port.number(), "/ws", one.is_secure}, m_failure));
                  }),
                  std::chrono::seconds(2));
        EXPECT_STREQ(m_failure.stage, one.stage);
        EXPECT_EQ(m_failure.code, 12002U);
    }
}

TEST_F(WebSocketLoopTest, AnOpeningIsStoppedInEveryStage) {
    const DeafPort port;
    for (const bool is_secure : {false, true}) {
        StopEvent stop;
        auto opened = std::async(std::launch::async, [&] {
            return web_socket_open({"127.0.0.1", port.number(), "/ws", is_secure}, m_failure,
                                   &stop) != nullptr;
        });
        EXPECT_EQ(opened.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout)
            << "it waits";
        EXPECT_LT(time_of([&] {
                      stop.set();
                      EXPECT_FALSE(opened.get());
                  }),
                  std::chrono::seconds(2));
        EXPECT_EQ(m_failure.code, 12017U);
    }
}

TEST_F(WebSocketLoopTest, WhatNobodyReceivesCostsNoProcessor) {
    const std::string text(64U << 10U, 'x');
    constexpr int k_count = 512; // more than is kept for whoever receives
    const auto socket = open(SocketSteps().upgrade().flood(k_count, text_frame(text)));
    ASSERT_TRUE(socket);
    const auto used = [] {
        const std::clock_t begin = std::clock();
        StopEvent().wait_ms(300);
        return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    double least = used();
    while (least > 0.03 && std::chrono::steady_clock::now() < end) {
        least = std::min(least, used());
    }
    EXPECT_LE(least, 0.03) << "seconds of 0.3";
    for (int i = 0; i < k_count; ++i) {
        ASSERT_TRUE(receive_message(*socket).text == text) << i;
    }
}

class WebSocketInboxTest : public testing::Test {
  protected:
    std::string take(std::size_t size, WebSocketEvent event) {
        std::string buffer(size, '?');
        const WebSocketReceived received = m_inbox.take(buffer);
        EXPECT_EQ(received.event, event);
        EXPECT_EQ(received.code, 0U);
        return buffer.substr(0, received.size);
    }

    WebSocketInbox m_inbox;
};

TEST_F(WebSocketInboxTest, CutsAMessageIntoPiecesThatFit) {
    m_inbox.add_text("abcdefg");
    EXPECT_EQ(take(3, WebSocketEvent::text_fragment), "abc");
    EXPECT_EQ(take(2, WebSocketEvent::text_fragment), "de");
    EXPECT_EQ(take(5, WebSocketEvent::text_message), "fg");
    EXPECT_TRUE(m_inbox.is_empty());
}

TEST_F(WebSocketInboxTest, AMessageThatJustFitsIsOnePiece) {
    m_inbox.add_text("abc");
    m_inbox.add_text("");
    m_inbox.add_text("abcdef");
    EXPECT_EQ(take(3, WebSocketEvent::text_message), "abc");
    EXPECT_EQ(take(3, WebSocketEvent::text_message), "");
    EXPECT_EQ(take(3, WebSocketEvent::text_fragment), "abc");
    EXPECT_EQ(take(3, WebSocketEvent::text_message), "def");
}

TEST_F(WebSocketInboxTest, TheEndComesBehindTheMessagesAndStays) {
    m_inbox.add_text("a");
    m_inbox.add_binary();
    m_inbox.end(WebSocketEvent::closed, 0);
    m_inbox.end(WebSocketEvent::failed, 7);
    m_inbox.add_text("too late");
    EXPECT_EQ(take(9, WebSocketEvent::text_message), "a");
    EXPECT_EQ(take(9, WebSocketEvent::binary), "");
    EXPECT_EQ(take(9, WebSocketEvent::closed), "");
    EXPECT_EQ(take(9, WebSocketEvent::closed), "");
}

TEST_F(WebSocketInboxTest, WhatIsAbandonedIsForgotten) {
    m_inbox.add_text("abc");
    EXPECT_EQ(take(1, WebSocketEvent::text_fragment), "a");
    m_inbox.end(WebSocketEvent::closed, 0);
    m_inbox.abandon(7);
    std::array<char, 9> buffer{};
    const WebSocketReceived received = m_inbox.take(buffer);
    EXPECT_EQ(received.event, WebSocketEvent::failed);
    EXPECT_EQ(received.code, 7U);
    EXPECT_FALSE(m_inbox.is_empty());
}

TEST_F(WebSocketInboxTest, IsFullOfAMegabyteOrOfManyMessages) {
    m_inbox.add_text(std::string(1U << 20U, 'x'));
    EXPECT_TRUE(m_inbox.is_full());
    take(1U << 20U, WebSocketEvent::text_message);
    EXPECT_FALSE(m_inbox.is_full());
    std::size_t count = 0;
    while (!m_inbox.is_full() && count < 100000) {
        m_inbox.add_text("");
        ++count;
    }
    EXPECT_EQ(count, (1U << 20U) / 64);
}

std::size_t pings_of(WebSocketPings& pings, std::string_view bytes) {
    return pings.count({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
}

TEST(WebSocketPingsTest, AreCountedAmongOtherFramesOfAllLengths) {
    std::string bytes;
    for (const std::size_t length : {0U, 1U, 125U, 126U, 65535U, 65536U, 100000U}) {
        const std::string inside = whole_frame(k_ping_frame, "a ping in a payload is none");
        std::string payload = inside + std::string(length, '\x89');
        payload.resize(length);
        bytes += text_frame(payload) + whole_frame(k_ping_frame, "") +
                 whole_frame(k_pong_frame, payload.substr(0, 125)) +
                 whole_frame(k_ping_frame, "x") + socket_frame(0, payload);
    }
    WebSocketPings at_once;
    EXPECT_EQ(pings_of(at_once, bytes), 14U);
    WebSocketPings by_bytes;
    std::size_t count = 0;
    for (const char byte : bytes) {
        count += pings_of(by_bytes, {&byte, 1});
    }
    EXPECT_EQ(count, 14U);
}

TEST(WebSocketPingsTest, KnowsWhereNoMessageIsUnderWay) {
    const std::string ping = whole_frame(k_ping_frame, "x");
    WebSocketPings frames;
    EXPECT_TRUE(frames.is_between_messages());
    pings_of(frames, text_frame("whole") + ping);
    EXPECT_TRUE(frames.is_between_messages());
    pings_of(frames, ping.substr(0, 2));
    EXPECT_FALSE(frames.is_between_messages()) << "in a ping";
    pings_of(frames, ping.substr(2));
    EXPECT_TRUE(frames.is_between_messages());
    pings_of(frames, socket_frame(k_text_frame, "begun") + ping);
    EXPECT_FALSE(frames.is_between_messages()) << "between two fragments";
    pings_of(frames, whole_frame(0, "ended"));
    EXPECT_TRUE(frames.is_between_messages());
}

TEST(WebSocketPingsTest, AFrameBeyondAllBoundsHasNoEnd) {
    WebSocketPings pings;
    EXPECT_EQ(pings_of(pings, std::string("\x81\x7F") + std::string(8, '\xFF')), 0U);
    EXPECT_EQ(pings_of(pings, std::string(1000, '\x89')), 0U);
}

} // namespace
