// The web socket seam and a server that fails it, at each stage. Both systems must behave alike.
#include "contract/web_socket_support.h"
#include "contract/web_system.h"
#include "platform/web_socket_rules.h"

#include <gtest/gtest.h>

#include <cstring>
#include <future>

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t k_timeout = 12002;
constexpr std::uint32_t k_name_not_resolved = 12007;
constexpr std::uint32_t k_cannot_connect = 12029;
constexpr std::uint32_t k_connection_error = 12030;
constexpr std::uint32_t k_invalid_response = 12152;

class WebSocketRefused : public WebSocketTest {
  protected:
    void expect_failure(const char* stage, std::uint32_t code) {
        EXPECT_FALSE(open());
        expect_told(stage, code);
    }

    void expect_told(const char* stage, std::uint32_t code) {
        EXPECT_STREQ(m_failure.stage, stage);
        EXPECT_EQ(m_failure.code, code);
    }
};

class WebSocketBroken : public WebSocketTest {
  protected:
    // What the end waits for: a reset overtakes what was sent before it.
    static std::string gate(const char* how) { return std::string("before") + how; }

    // Until the connection's end, which has to come by itself.
    void expect_end_after(const SocketSteps& steps, std::size_t messages = 0) {
        m_web.forget_answers();
        const auto socket = open(steps);
        ASSERT_TRUE(socket);
        auto ended = std::async(std::launch::async, [&socket, messages] {
            return ends_after_messages(*socket, messages);
        });
        EXPECT_EQ(ended.wait_for(20s), std::future_status::ready);
        web_socket_close(*socket, 1000); // ends it where it did not
        EXPECT_TRUE(ended.get());
    }
};

TEST_F(WebSocketRefused, APortWhereNobodyListens) {
    EXPECT_FALSE(open_at(m_web.closed_url()));
    expect_told("send-request", k_cannot_connect);
}

TEST_F(WebSocketRefused, AnUnknownHost) {
    EXPECT_FALSE(open_at("http://velmo-nowhere.invalid:80"));
    expect_told("send-request", k_name_not_resolved);
}

TEST_F(WebSocketRefused, ThatEndsBeforeItsAnswer) {
    for (const bool is_reset : {false, true}) {
        m_web.forget_answers();
        WebAnswer answer;
        answer.broken = WebBreak::before_head;
        answer.is_reset = is_reset;
        serve(answer);
        EXPECT_FALSE(open());
        EXPECT_STREQ(m_failure.stage, "receive-response");
        EXPECT_NE(m_failure.code, 0U);
    }
    EXPECT_EQ(m_web.seen().size(), 2U) << "nothing is asked twice";
}

TEST_F(WebSocketRefused, ThatEndsInTheMiddleOfItsAnswer) {
    for (const char* head : {"HTTP/1.", "HTTP/1.1 101 Switching Protocols\r\nUpgrade: webso"}) {
        m_web.forget_answers();
        WebAnswer answer;
        answer.raw = head;
        serve(answer);
        const WebSocketPtr socket = open();
        if (is_exact() || std::strlen(head) < 10) {
            EXPECT_FALSE(socket);
            EXPECT_NE(m_failure.code, 0U);
        } else if (socket) {
            EXPECT_TRUE(ends_after_messages(*socket, 0));
        }
    }
}

TEST_F(WebSocketRefused, AnAnswerThatIsNoUpgrade) {
    for (const int status : {200, 302, 400, 401, 404, 500}) {
        m_web.forget_answers();
        WebAnswer answer;
        answer.status = status;
        answer.headers = {"Location: " + m_web.url() + "/elsewhere",
                          "WWW-Authenticate: Basic realm=\"x\""};
        serve(answer);
        expect_failure("complete-upgrade", k_invalid_response);
    }
    EXPECT_EQ(m_web.seen().size(), 6U) << "nobody follows or asks again";
}

TEST_F(WebSocketRefused, AnAnswerWhoseBodyHasNoEnd) {
    WebAnswer answer;
    answer.body = std::string(100000, 'x');
    answer.part_size = 50000;
    answer.body_gate = "never";
    serve(answer);
    EXPECT_LT(time_of([this] { expect_failure("complete-upgrade", k_invalid_response); }), 10s);
    m_web.open_gate("never");
}

TEST_F(WebSocketRefused, AnUpgradeWithoutItsHeaders) {
    WebAnswer answer;
    answer.raw = "HTTP/1.1 101 Switching Protocols\r\n\r\n";
    serve(answer);
    const WebSocketPtr socket = open();
    if (!is_exact()) {
        GTEST_SKIP() << web_inexactness();
    }
    EXPECT_FALSE(socket);
    EXPECT_NE(m_failure.code, 0U);
}

TEST_F(WebSocketRefused, AWrongKey) {
    serve(SocketSteps().upgrade("wrong").gate("never"));
    const WebSocketPtr socket = open();
    m_web.open_gate("never");
    if (!is_exact()) {
        GTEST_SKIP() << web_inexactness();
    }
    EXPECT_FALSE(socket);
    EXPECT_NE(m_failure.code, 0U);
}

TEST_F(WebSocketRefused, AServerThatSpeaksNoHttp) {
    WebAnswer answer;
    answer.raw = "SSH-2.0-OpenSSH_9.2\r\n\r\nwhat?\r\n";
    serve(answer);
    EXPECT_FALSE(open());
    EXPECT_NE(m_failure.code, 0U);
}

TEST_F(WebSocketRefused, ACertificateThatNobodyTrustsBeforeAnythingIsAsked) {
    EXPECT_FALSE(open_at(m_web.tls_url()));
    EXPECT_STREQ(m_failure.stage, "send-request");
    EXPECT_NE(m_failure.code, 0U);
    EXPECT_TRUE(m_web.seen().empty());
}

TEST_F(WebSocketRefused, AServerThatSpeaksNoTls) {
    EXPECT_FALSE(open_at("https" + m_web.url().substr(4)));
    EXPECT_STREQ(m_failure.stage, "send-request");
    EXPECT_NE(m_failure.code, 0U);
    EXPECT_TRUE(m_web.seen().empty());
}

TEST_F(WebSocketRefused, AnAddressThatIsNone) {
    const auto fails = [this](const char* host, std::uint16_t port, const char* path) {
        m_failure = {"", 0};
        EXPECT_FALSE(web_socket_open({host, port, path, false}, m_failure));
        EXPECT_STRNE(m_failure.stage, "");
        EXPECT_NE(m_failure.code, 0U);
    };
    fails("", 80, "/ws");
    fails(nullptr, 80, "/ws");
    fails("127.0.0.1", 0, "/ws");
    fails("127.0.0.1", 80, "");
    fails("127.0.0.1", 80, nullptr);
    fails("127.0.0.1", 80, "ws");
    fails("127.0.0.1", 80, "/ws HTTP/1.1\r\nX: y");
    fails("user@127.0.0.1", 80, "/ws");
    fails("127.0.0.1/", 80, "/ws");
    fails("127.0.0.1\r\nX: y", 80, "/ws");
    fails("::nonsense::", 80, "/ws");
    fails(std::string(300, 'a').c_str(), 80, "/ws");
}

TEST_F(WebSocketRefused, AServerThatSaysNothing) {
    EXPECT_EQ(g_web_socket_patience.opening, 30s);
    const WithPatience patience({.opening = 300ms});
    WebAnswer answer;
    answer.head_gate = "never";
    serve(answer);
    // Wine waits for the answer as a part of sending.
    const char* stage = is_exact() ? "receive-response" : "send-request";
    EXPECT_LT(time_of([&] { expect_failure(stage, k_timeout); }), 10s);
    m_web.open_gate("never");
}

TEST_F(WebSocketBroken, ThePeerVanishesBetweenTwoMessages) {
    for (const char* how : {"", "reset"}) {
        m_web.forget_answers();
        const auto socket =
            open(SocketSteps().upgrade().write(text_frame("last")).gate(gate(how)).end(how));
        ASSERT_TRUE(socket);
        EXPECT_EQ(receive_message(*socket).text, "last");
        m_web.open_gate(gate(how));
        const SocketMessage end = receive_message(*socket);
        EXPECT_EQ(end.event, WebSocketEvent::failed);
        if (is_exact()) {
            EXPECT_EQ(end.code, k_connection_error);
        }
        EXPECT_NE(end.code, 0U);
        EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed) << "again";
    }
}

TEST_F(WebSocketBroken, ThePeerVanishesInTheMiddleOfAFrame) {
    const std::string frame = text_frame(std::string(1000, 'x'));
    for (const char* how : {"", "reset"}) {
        for (const std::size_t length : {1U, 3U, 100U}) {
            m_web.forget_answers();
            const std::string opened = gate(how) + std::string(length, 'o');
            const auto socket =
                open(SocketSteps().upgrade().gate(opened).write(frame.substr(0, length)).end(how));
            ASSERT_TRUE(socket);
            m_web.open_gate(opened);
            EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed);
        }
    }
}

TEST_F(WebSocketBroken, SendsFailOnceThePeerHasGone) {
    for (const char* how : {"", "reset"}) {
        m_web.forget_answers();
        const auto socket = open(SocketSteps().upgrade().gate(gate(how)).end(how));
        ASSERT_TRUE(socket);
        m_web.open_gate(gate(how));
        EXPECT_EQ(receive_message(*socket).event, WebSocketEvent::failed);
        bool is_sent = true;
        for (int i = 0; i < 100 && is_sent; ++i) {
            is_sent = web_socket_send_text(*socket, "anybody?");
        }
        EXPECT_FALSE(is_sent);
        EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 900ms);
    }
}

TEST_F(WebSocketBroken, ASendFailsInTimeWhenThePeerReadsNothing) {
    EXPECT_EQ(g_web_socket_patience.sending, 10s);
    const WithPatience patience({.sending = 300ms});
    const auto socket = open(SocketSteps().upgrade("deaf").gate("never"));
    ASSERT_TRUE(socket);
    const std::string text(1U << 20U, 'x');
    int sent = 0;
    while (sent < 100 && web_socket_send_text(*socket, text)) {
        ++sent;
    }
    EXPECT_LT(sent, 100);
    const SocketMessage end = receive_message(*socket);
    EXPECT_EQ(end.event, WebSocketEvent::failed);
    EXPECT_EQ(end.code, k_timeout);
    EXPECT_FALSE(web_socket_send_text(*socket, "a"));
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 1900ms);
    m_web.open_gate("never");
}

// What breaks the protocol ends the connection. Wine's WinHTTP lets some of it pass as messages;
// then at least the server's end, which follows, ends it.
TEST_F(WebSocketBroken, FramesThatNobodyMaySend) {
    const std::string masked("\x81\x81\x01\x02\x03\x04\x60", 7);
    const std::string huge = std::string("\x81\x7F\x7F", 3) + std::string(7, '\xFF') + "abc";
    const std::string negative = std::string("\x81\x7F", 2) + std::string(8, '\xFF') + "abc";
    const struct {
        const char* name;
        std::string bytes;
    } k_cases[] = {
        {"a masked frame", masked},
        {"a reserved bit", socket_frame(0xC1, "a")},
        {"all reserved bits", socket_frame(0xF1, "a")},
        {"an unknown kind of message", whole_frame(3, "a")},
        {"an unknown kind of control", whole_frame(11, "a")},
        {"a ping in fragments", socket_frame(k_ping_frame, "a") + socket_frame(0x80, "b")},
        {"a goodbye of one byte", whole_frame(k_close_frame, "a")},
        {"a goodbye with a status that is none", close_frame(1005)},
        {"a goodbye that is no UTF-8", close_frame(1000, "\xFF\xFE")},
        {"a continuation of nothing", socket_frame(0x80, "a")},
        {"a message within another", socket_frame(k_text_frame, "a") + text_frame("b")},
        {"a length beyond all bounds", huge},
        {"a length below zero", negative},
        {"a text that is no UTF-8", text_frame("a\xFFz")},
    };
    for (const auto& one : k_cases) {
        SCOPED_TRACE(one.name);
        SocketSteps steps;
        steps.upgrade().write(one.bytes);
        if (!is_exact()) {
            steps.end();
        }
        expect_end_after(steps, is_exact() ? 0 : 2);
    }
}

TEST_F(WebSocketBroken, AMessageWithoutAnEndFillsNoMemory) {
    const std::string fragment = socket_frame(0, std::string(100000, 'x'));
    const auto steps = [&fragment](std::size_t times) {
        return SocketSteps()
            .upgrade()
            .write(socket_frame(k_text_frame, "a"))
            .flood(times, fragment);
    };
    if (!is_exact()) {
        expect_end_after(steps(100).end()); // WinHTTP hands it out as it comes
    } else {
        expect_end_after(steps(1000));
    }
}

TEST_F(WebSocketBroken, PingsWithoutAnEndFillNoMemoryAndHinderNobody) {
    const std::string ping = whole_frame(k_ping_frame, is_exact() ? std::string(20, 'x') : "");
    const auto socket = open(SocketSteps()
                                 .upgrade("deaf")
                                 .write(text_frame("first"))
                                 .flood(2U << 20U, ping)
                                 .gate("never"));
    ASSERT_TRUE(socket);
    EXPECT_EQ(receive_message(*socket).text, "first");
    auto waiting =
        std::async(std::launch::async, [&socket] { return ends_after_messages(*socket, 0); });
    if (is_exact()) {
        EXPECT_EQ(waiting.wait_for(20s), std::future_status::ready) << "nobody takes the answers";
    }
    EXPECT_LT(time_of([&socket] { web_socket_close(*socket, 1000); }), 1900ms);
    EXPECT_TRUE(waiting.get());
    m_web.open_gate("never");
}

} // namespace
