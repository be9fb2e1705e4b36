// The web socket seam: who closes, and when. Both systems must behave alike.
#include "contract/web_socket_support.h"
#include "contract/web_system.h"

#include <gtest/gtest.h>

#include <array>
#include <future>

namespace {

using namespace std::chrono_literals;

class WebSocketClosing : public WebSocketTest {
  protected:
    // What a thread of its own receives; it is waiting by the time that this returns, or about to.
    static std::future<SocketMessage> receive_beside(WebSocket& socket) {
        std::promise<void> begun;
        auto message = std::async(std::launch::async, [&socket, &begun] {
            begun.set_value();
            return receive_message(socket);
        });
        begun.get_future().wait();
        return message;
    }
};

std::string status_text(std::uint16_t status) {
    return close_frame(status).substr(2);
}

TEST_F(WebSocketClosing, TheServersGoodbyeIsToldBehindItsMessages) {
    for (const std::string& goodbye :
         {close_frame(1000), close_frame(1001, "bye"), close_frame(4001, "Tschüs"),
          whole_frame(k_close_frame, "")}) {
        m_web.forget_answers();
        const auto socket = open(SocketSteps()
                                     .upgrade()
                                     .write(text_frame("last words") + goodbye)
                                     .expect(k_close_frame)
                                     .end());
        ASSERT_TRUE(socket);
        EXPECT_EQ(receive_message(*socket).text, "last words");
        EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::closed);
        EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::closed) << "again";
        EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 900ms);
        EXPECT_FALSE(web_socket_send_text(*socket, "too late"));
    }
    EXPECT_EQ(frames(k_close_frame, 4).size(), 4U) << "each is answered";
}

TEST_F(WebSocketClosing, SaysGoodbyeWithTheStatus) {
    for (const auto status : std::to_array<std::uint16_t>({1000, 1001, 4999})) {
        m_web.forget_answers();
        const auto socket = open(SocketSteps().upgrade().echo());
        ASSERT_TRUE(socket);
        EXPECT_TRUE(web_socket_send_text(*socket, "before"));
        EXPECT_LT(time_of([&] { web_socket_close(*socket, status); }), 900ms)
            << "the server answers";
    }
    const auto goodbyes = frames(k_close_frame, 3);
    ASSERT_EQ(goodbyes.size(), 3U);
    EXPECT_EQ(goodbyes[0].body, status_text(1000));
    EXPECT_EQ(goodbyes[1].body, status_text(1001));
    EXPECT_EQ(goodbyes[2].body, status_text(4999));
    EXPECT_EQ(goodbyes[0].version, "masked fin");
    EXPECT_EQ(frames(k_text_frame, 3).size(), 3U) << "what was sent before";
}

TEST_F(WebSocketClosing, AStatusThatNobodyMaySendIsANormalEnd) {
    const auto socket = open(SocketSteps().upgrade().echo());
    ASSERT_TRUE(socket);
    web_socket_close(*socket, 1006);
    const auto goodbyes = frames(k_close_frame, 1);
    ASSERT_EQ(goodbyes.size(), 1U);
    EXPECT_EQ(goodbyes[0].body, status_text(1000));
}

TEST_F(WebSocketClosing, EndsAReceiveInAnotherThread) {
    const auto socket = open(SocketSteps().upgrade().echo());
    ASSERT_TRUE(socket);
    auto waiting = receive_beside(*socket);
    EXPECT_LT(time_of([&] {
                  web_socket_close(*socket, 1000);
                  EXPECT_EQ(waiting.get().event, WebSocketEvent::failed);
              }),
              1000ms);
    EXPECT_EQ(frames(k_close_frame, 1).size(), 1U);
}

TEST_F(WebSocketClosing, EndsAReceiveAtOnceWhenTheServerNeverAnswers) {
    const auto socket = open(SocketSteps().upgrade().gate("never"));
    ASSERT_TRUE(socket);
    auto waiting = receive_beside(*socket);
    auto received = std::async(std::launch::async, [&waiting] {
        return time_of([&waiting] { EXPECT_EQ(waiting.get().event, WebSocketEvent::failed); });
    });
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 1900ms);
    EXPECT_LT(received.get(), 1000ms) << "it does not wait for the goodbye";
    EXPECT_EQ(frames(k_close_frame, 1).size(), 1U);
    m_web.open_gate("never");
}

TEST_F(WebSocketClosing, ReturnsWhenTheServerReadsNothingAtAll) {
    const auto socket = open(SocketSteps().upgrade("deaf").gate("never"));
    ASSERT_TRUE(socket);
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 1900ms);
    m_web.open_gate("never");
}

TEST_F(WebSocketClosing, ReturnsWhenTheServerTalksOnInstead) {
    const auto socket =
        open(SocketSteps().upgrade().flood(1U << 20U, text_frame(std::string(1000, 'x'))));
    ASSERT_TRUE(socket);
    EXPECT_EQ(receive_message(*socket).text.size(), 1000U);
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 1900ms);
}

TEST_F(WebSocketClosing, NothingIsReceivedAfterwards) {
    const auto socket = open(SocketSteps().upgrade().write(text_frame("unread")).echo());
    ASSERT_TRUE(socket);
    web_socket_close(*socket, 1000);
    EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed);
    EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed) << "again";
    EXPECT_NE(receive_message(*socket).code, 0U);
    EXPECT_FALSE(web_socket_send_text(*socket, "too late"));
}

TEST_F(WebSocketClosing, ASecondOneDoesNothing) {
    const auto socket = open(SocketSteps().upgrade().gate("never"));
    ASSERT_TRUE(socket);
    web_socket_close(*socket, 1000);
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1001); }), 500ms);
    EXPECT_EQ(frames(k_close_frame, 1).size(), 1U);
    EXPECT_EQ(frames(k_close_frame, 1)[0].body, status_text(1000));
    m_web.open_gate("never");
}

TEST_F(WebSocketClosing, CrossesTheServersGoodbye) {
    const auto socket =
        open(SocketSteps().upgrade().write(close_frame(1001)).expect(k_close_frame).end());
    ASSERT_TRUE(socket);
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 900ms);
    EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed);
}

TEST_F(WebSocketClosing, IsNotNeeded) {
    // Two that are left in the middle of what they do, one of them before it has received.
    {
        const auto socket =
            open(SocketSteps().upgrade().flood(1U << 20U, text_frame(std::string(1000, 'x'))));
        ASSERT_TRUE(socket);
        EXPECT_EQ(receive_message(*socket).text.size(), 1000U);
    }
    m_web.forget_answers();
    EXPECT_LT(time_of([this] { open(SocketSteps().upgrade().gate("never")).reset(); }), 5s);
    m_web.open_gate("never");
}

TEST_F(WebSocketClosing, WhoeverIsLeftSeesTheConnectionEnd) {
    open(SocketSteps().upgrade().echo()).reset();
    // The server's steps end with the connection; then it takes the next.
    m_web.forget_answers();
    const auto socket = open(SocketSteps().upgrade().write(text_frame("next")));
    ASSERT_TRUE(socket);
    EXPECT_EQ(receive_message(*socket).text, "next");
    EXPECT_EQ(frames(k_close_frame, 0).size(), 0U) << "without a word";
}

TEST_F(WebSocketClosing, NothingStaysOpen) {
    const auto use_all = [this] {
        m_web.forget_answers();
        serve(SocketSteps().upgrade().echo());
        for (const bool is_closed : {true, false}) {
            const WebSocketPtr socket = open();
            ASSERT_TRUE(socket);
            EXPECT_TRUE(web_socket_send_text(*socket, "a"));
            EXPECT_EQ(receive_message(*socket).text, "a");
            if (is_closed) {
                web_socket_close(*socket, 1000);
            }
        }
        EXPECT_FALSE(open_at(m_web.closed_url()));
        EXPECT_FALSE(open_at(m_web.url(), "/missing"));
        EXPECT_FALSE(open_at(m_web.tls_url()));
    };
    use_all(); // what the system keeps for good
    use_all();
    const int before = web_open_handles();
    for (int i = 0; i < 10; ++i) {
        use_all();
    }
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (web_open_handles() > before && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_LE(web_open_handles(), before);
}

} // namespace
