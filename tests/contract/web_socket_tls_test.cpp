// The web socket seam over TLS, in a program that trusts the scripted server from its start: a
// system may decide once per process whom it trusts. Both systems must behave alike.
#include "contract/web_socket_support.h"
#include "contract/web_system.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

class TrustEnvironment : public testing::Environment {
  public:
    void SetUp() override {
        const char* path = std::getenv("VELMO_WEB_CERTIFICATE");
        m_trust = std::make_unique<WebTrust>(path != nullptr ? path : "");
        ASSERT_TRUE(m_trust->is_ready());
    }
    void TearDown() override { m_trust.reset(); }

  private:
    std::unique_ptr<WebTrust> m_trust;
};

// GoogleTest owns it.
[[maybe_unused]] const testing::Environment* const g_trust =
    testing::AddGlobalTestEnvironment(new TrustEnvironment);

using WebSocketTls = WebSocketTest;

TEST_F(WebSocketTls, MessagesOfAllLengthsComeBack) {
    serve(SocketSteps().upgrade().echo());
    const WebSocketPtr socket = open_at(m_web.tls_url());
    ASSERT_TRUE(socket) << m_failure.stage << " " << m_failure.code;
    EXPECT_TRUE(m_web.seen().at(0).is_secure);
    for (const std::size_t size : {0U, 5U, 65536U, 1U << 20U}) {
        const std::string text(size, 'x');
        EXPECT_TRUE(web_socket_send_text(*socket, text));
        EXPECT_TRUE(receive_message(*socket).text == text) << size;
    }
    web_socket_close(*socket, 1000);
    EXPECT_EQ(frames(k_close_frame, 1).size(), 1U);
}

TEST_F(WebSocketTls, TheServersGoodbyeIsTold) {
    serve(SocketSteps().upgrade().write(text_frame("a") + close_frame(1001)).expect(k_close_frame));
    const WebSocketPtr socket = open_at(m_web.tls_url());
    ASSERT_TRUE(socket) << m_failure.stage << " " << m_failure.code;
    EXPECT_EQ(receive_message(*socket).text, "a");
    EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::closed);
    web_socket_close(*socket, 1000);
}

TEST_F(WebSocketTls, APeerThatVanishesIsAFailure) {
    for (const char* how : {"", "reset"}) {
        m_web.forget_answers();
        // A reset overtakes what was sent before it.
        const std::string opened = std::string("opened") + how;
        serve(SocketSteps().upgrade().gate(opened).end(how));
        const WebSocketPtr socket = open_at(m_web.tls_url());
        ASSERT_TRUE(socket) << m_failure.stage << " " << m_failure.code;
        m_web.open_gate(opened);
        EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed);
    }
}

TEST_F(WebSocketTls, APeerThatSaysNothingMoreIsLeftAllTheSame) {
    serve(SocketSteps().upgrade("deaf").gate("never"));
    EXPECT_LT(time_of([this] {
                  const WebSocketPtr socket = open_at(m_web.tls_url());
                  ASSERT_TRUE(socket) << m_failure.stage << " " << m_failure.code;
                  web_socket_close(*socket, 1000);
              }),
              std::chrono::seconds(5));
    m_web.open_gate("never");
}

TEST_F(WebSocketTls, ACertificateForAnotherNameIsRefusedBeforeAnythingIsAsked) {
    std::string url = m_web.tls_url();
    EXPECT_FALSE(open_at(url.replace(url.find("localhost"), 9, "127.0.0.1")));
    EXPECT_STREQ(m_failure.stage, "send-request");
    EXPECT_NE(m_failure.code, 0U);
    EXPECT_TRUE(m_web.seen().empty());
}

} // namespace
