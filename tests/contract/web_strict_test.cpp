// The web seam where it must be exact. Both systems must behave alike; what is in their place may
// not, and is left out.
#include "contract/web_support.h"
#include "contract/web_system.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>

namespace {

class WebStrict : public WebTest {
  protected:
    void SetUp() override {
        if (const std::string_view why = web_inexactness(); !why.empty()) {
            GTEST_SKIP() << why;
        }
    }
};

TEST_F(WebStrict, ABodyShorterThanItsLengthFailsAtItsEnd) {
    WebAnswer answer;
    answer.body = web_long_body(20000);
    answer.cut = 12345;
    const WebFetched fetched = get(answer);
    EXPECT_EQ(fetched.body.size(), 12345U);
    EXPECT_FALSE(fetched.is_whole);
}

TEST_F(WebStrict, ABodyThatIsCutInAChunkFailsAtItsEnd) {
    WebAnswer answer;
    answer.raw = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                 "3\r\nabc\r\n10\r\ndef";
    EXPECT_FALSE(get(answer).is_whole);
}

TEST_F(WebStrict, AResetInTheMiddleOfABodyFails) {
    WebAnswer answer;
    answer.body = web_long_body(2U << 20U);
    answer.cut = 1U << 20U;
    answer.is_reset = true;
    EXPECT_FALSE(get(answer).is_whole);
}

TEST_F(WebStrict, AFailureStaysAFailure) {
    const WebExchangePtr exchange = open_behind_cut();
    ASSERT_TRUE(exchange);
    std::array<char, 10> bytes{};
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(web_exchange_available(*exchange));
        EXPECT_FALSE(web_exchange_read(*exchange, bytes));
    }
}

TEST_F(WebStrict, AConnectionThatEndsInTheHeadIsNoAnswer) {
    WebAnswer answer;
    answer.headers = {"X-Long: " + std::string(2000, 'x')};
    answer.broken = WebBreak::in_head;
    EXPECT_FALSE(get(answer).is_answered);
    last_of(1);
}

TEST_F(WebStrict, AServerMayHaveAnIpv6Address) {
    if (m_web.ipv6_url().empty()) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    m_web.answer("GET /x", 200, "{}");
    EXPECT_EQ(web_get(m_web.ipv6_url() + "/x").body, "{}");
    EXPECT_EQ(last_of(1).header("Host"), m_web.ipv6_url().substr(7));
}

TEST_F(WebStrict, EachExchangeHasAConnectionOfItsOwn) {
    m_web.answer("GET /x", 200, "{}");
    web_get(m_web.url() + "/x");
    web_get(m_web.url() + "/x");
    const std::vector<WebSeen> seen = m_web.seen();
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_NE(seen[0].connection, seen[1].connection);
}

TEST_F(WebStrict, AnAnnouncementIsNotTheAnswer) {
    WebAnswer answer;
    answer.raw = "HTTP/1.1 100 Continue\r\n\r\n"
                 "HTTP/1.1 201 Created\r\nContent-Length: 2\r\n\r\n{}";
    m_web.answer("POST /x", answer);
    const WebFetched fetched = web_send("POST", m_web.url() + "/x", "{}");
    EXPECT_EQ(fetched.status, 201U);
    EXPECT_EQ(fetched.body, "{}");
}

TEST_F(WebStrict, ARelativePathIsFollowed) {
    redirect("GET /deep/from", 301, "to?x=1");
    m_web.answer("GET /deep/to", 200, "there");
    EXPECT_EQ(web_get(m_web.url() + "/deep/from").body, "there");
    EXPECT_EQ(last_of(2).target, "/deep/to?x=1");
}

TEST_F(WebStrict, AnAnswerThatPointsNowhereIsTheAnswer) {
    WebAnswer answer;
    answer.status = 302;
    answer.body = "where?";
    m_web.answer("GET /x", answer);
    const WebFetched fetched = web_get(m_web.url() + "/x");
    EXPECT_EQ(fetched.status, 302U);
    EXPECT_EQ(fetched.body, "where?");
}

TEST_F(WebStrict, ARelativePlaceMayClimbOrBeAQueryOrAnotherHost) {
    redirect("GET /a/b/c", 302, "../d?x");
    redirect("GET /a/d", 302, "?y=%26%3D");
    redirect("GET /a/d?y=%26%3D", 302, m_web.url().substr(5) + "/e f#g");
    m_web.answer("GET /e%20f", 200, "there");
    EXPECT_EQ(web_get(m_web.url() + "/a/b/c").body, "there");
    last_of(4);
}

TEST_F(WebStrict, APlaceThatIsNotUnderstoodIsNoAnswer) {
    for (const std::string location : {"ftp://127.0.0.1/x", "http://", "http:///x", "mailto:a@b"}) {
        WebScript web;
        redirect("GET /x", 302, location);
        EXPECT_FALSE(web_get(web.url() + "/x").is_answered) << location;
        last_of(1);
    }
}

TEST_F(WebStrict, APostThatMovedIsFetched) {
    for (const int status : {301, 302, 303}) {
        WebScript web;
        redirect("POST /from", status, "/to");
        web.answer("GET /to", 200, "there");
        EXPECT_EQ(web_send("POST", web.url() + "/from", "{\"a\":1}").body, "there") << status;
        const WebSeen request = last_of(2);
        EXPECT_EQ(request.method, "GET") << status;
        EXPECT_EQ(request.body, "");
        EXPECT_EQ(request.header("User-Agent"), "VelmoClient/1.0");
    }
}

TEST_F(WebStrict, WhatIsFetchedAfterAPostHasNoBodyHeaders) {
    redirect("POST /from", 303, "/to");
    m_web.answer("GET /to", 200, "there");
    EXPECT_EQ(web_send("POST", m_web.url() + "/from", "{}").body, "there");
    const WebSeen request = last_of(2);
    EXPECT_FALSE(request.has_header("Content-Type"));
    EXPECT_FALSE(request.has_header("Content-Length"));
}

TEST_F(WebStrict, OnlySeeOtherTurnsADeleteIntoAGet) {
    for (const int status : {301, 302, 303, 307, 308}) {
        WebScript web;
        redirect("DELETE /from", status, "/to");
        web.answer("DELETE /to", 204, "");
        web.answer("GET /to", 204, "");
        EXPECT_EQ(web_send("DELETE", web.url() + "/from", "{\"a\":1}").status, 204U);
        const WebSeen request = last_of(2);
        EXPECT_EQ(request.method, status == 303 ? "GET" : "DELETE") << status;
        EXPECT_EQ(request.body, status == 303 ? "" : "{\"a\":1}") << status;
    }
}

TEST_F(WebStrict, APostThatMovedForGoodIsSentThere) {
    redirect("POST /from", 308, "/to");
    m_web.answer("POST /to", 201, "");
    EXPECT_EQ(web_send("POST", m_web.url() + "/from", "{}").status, 201U);
    EXPECT_EQ(last_of(2).body, "{}");
}

TEST_F(WebStrict, ARedirectToAnOpenConnectionIsTheAnswer) {
    const WebTrust trust(web_certificate_path());
    ASSERT_TRUE(trust.is_ready());
    redirect("GET /from", 302, m_web.url() + "/open");
    const WebFetched fetched = web_get(m_web.tls_url() + "/from");
    EXPECT_EQ(fetched.status, 302U);
    EXPECT_EQ(fetched.body, "moved");
    last_of(1);
}

TEST_F(WebStrict, TrustCanBeTakenBack) {
    m_web.answer("GET /x", 200, "{}");
    {
        const WebTrust trust(web_certificate_path());
        EXPECT_TRUE(web_get(m_web.tls_url() + "/x").is_answered);
    }
    EXPECT_FALSE(web_get(m_web.tls_url() + "/x").is_answered);
}

} // namespace
