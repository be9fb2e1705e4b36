// The web seam when there is no answer, or only a part of one. Both systems must behave alike.
#include "contract/web_support.h"
#include "contract/web_system.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <thread>

namespace {

class WebBroken : public WebTest {};

// A system closes some of them a moment later. False when more are open after ten seconds.
bool wait_for_handles(int most) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (web_open_handles() > most) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

TEST_F(WebBroken, OfABodyThatIsCutWhatCameIsDelivered) {
    for (const WebFraming framing : {WebFraming::length, WebFraming::chunked}) {
        WebAnswer answer;
        answer.body = web_long_body(20000);
        answer.framing = framing;
        answer.part_size = 1000;
        answer.cut = 12345;
        const WebFetched fetched = get(answer);
        EXPECT_EQ(fetched.status, 200U);
        EXPECT_TRUE(fetched.body == answer.body.substr(0, 12345)) << fetched.body.size();
    }
}

TEST_F(WebBroken, OfABodyThatIsCutInAChunkWhatCameIsDelivered) {
    WebAnswer answer;
    answer.raw = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                 "3\r\nabc\r\n10\r\ndef";
    EXPECT_EQ(get(answer).body, "abcdef");
}

TEST_F(WebBroken, BehindAChunkThatIsNoneTheBodyEndsSomehow) {
    WebAnswer answer;
    answer.raw = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                 "3\r\nabc\r\nnonsense\r\ndef";
    EXPECT_EQ(get(answer).body.substr(0, 3), "abc");
}

TEST_F(WebBroken, BehindACutNothingComes) {
    const WebExchangePtr exchange = open_behind_cut();
    ASSERT_TRUE(exchange);
    std::array<char, 10> bytes{};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(web_exchange_available(*exchange).value_or(0), 0U);
        EXPECT_EQ(web_exchange_read(*exchange, bytes).value_or(0), 0U);
    }
}

TEST_F(WebBroken, AResetInTheMiddleOfABodyEndsIt) {
    WebAnswer answer;
    answer.body = web_long_body(2U << 20U);
    answer.cut = 1U << 20U;
    answer.is_reset = true;
    answer.part_size = 100000;
    answer.body_gate = "rest"; // the reset may overtake what is not read yet, but not the head
    const WebExchangePtr exchange = open(answer);
    ASSERT_TRUE(exchange);
    m_web.open_gate("rest");
    const WebFetched fetched = web_read(*exchange);
    EXPECT_LE(fetched.body.size(), 1U << 20U);
    EXPECT_TRUE(answer.body.starts_with(fetched.body)) << "no byte is made up";
}

TEST_F(WebBroken, AConnectionThatEndsBeforeTheAnswerIsNoAnswer) {
    for (const bool is_reset : {false, true}) {
        WebAnswer answer;
        answer.broken = WebBreak::before_head;
        answer.is_reset = is_reset;
        EXPECT_FALSE(get(answer).is_answered);
    }
    EXPECT_EQ(m_web.seen().size(), 2U) << "nothing is asked twice";
}

TEST_F(WebBroken, AConnectionThatEndsInTheFirstLineIsNoAnswer) {
    WebAnswer answer;
    answer.raw = "HTTP/1.";
    EXPECT_FALSE(get(answer).is_answered);
    EXPECT_EQ(m_web.seen().size(), 1U) << "nothing is asked twice";
}

TEST_F(WebBroken, AnAnswerThatIsNoHttpIsNoAnswer) {
    WebAnswer answer;
    answer.raw = "SSH-2.0-OpenSSH_9.2\r\n\r\nwhat?\r\n";
    EXPECT_FALSE(get(answer).is_answered);
}

TEST_F(WebBroken, APortWhereNobodyListensIsNoAnswer) {
    EXPECT_FALSE(web_get(m_web.closed_url() + "/x").is_answered);
}

TEST_F(WebBroken, AnUnknownHostIsNoAnswer) {
    EXPECT_FALSE(web_get("http://velmo-nowhere.invalid/x").is_answered);
}

TEST_F(WebBroken, AnAnswerMayBeLeftBeforeItsEnd) {
    for (const WebFraming framing :
         {WebFraming::length, WebFraming::chunked, WebFraming::until_close}) {
        WebScript web;
        WebAnswer answer;
        answer.framing = framing;
        answer.body = web_long_body(1000);
        answer.part_size = 500;
        answer.body_gate = "rest";
        web.answer("GET /x", answer);
        const std::string url = web.url() + "/x";
        WebExchangePtr exchange = web_exchange_open({"GET", url.c_str()});
        ASSERT_TRUE(exchange);
        EXPECT_GT(web_exchange_available(*exchange).value_or(0), 0U);
        const auto before = std::chrono::steady_clock::now();
        exchange.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5))
            << "nobody waits for the rest";
        web.open_gate("rest");
    }
}

TEST_F(WebBroken, NothingStaysOpen) {
    WebAnswer cut;
    cut.body = web_long_body(20000);
    cut.cut = 5000;
    m_web.answer("GET /cut", cut);
    m_web.answer("GET /whole", 200, web_long_body(20000));
    const auto exchange_all = [this] {
        EXPECT_TRUE(web_get(m_web.url() + "/whole").is_whole);
        EXPECT_TRUE(web_get(m_web.url() + "/cut").is_answered);
        EXPECT_FALSE(web_get(m_web.closed_url() + "/x").is_answered);
        EXPECT_FALSE(web_get(m_web.tls_url() + "/x").is_answered);
        EXPECT_FALSE(web_get("nonsense").is_answered);
        const std::string url = m_web.url() + "/whole";
        EXPECT_TRUE(web_exchange_open({"GET", url.c_str()})) << "unread";
    };
    exchange_all(); // what the system keeps for good
    const int before = web_open_handles();
    for (int i = 0; i < 10; ++i) {
        exchange_all();
    }
    EXPECT_TRUE(wait_for_handles(before)) << web_open_handles() << " after " << before;
}

} // namespace
