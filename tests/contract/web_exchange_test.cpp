// The web seam: what goes out, and answers of every ordinary kind. Both systems must behave alike.
#include "contract/web_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <thread>
#include <vector>

namespace {

class WebExchangeContract : public testing::Test {
  protected:
    // The only request of this test.
    WebSeen only_request() const {
        const std::vector<WebSeen> seen = m_web.seen();
        EXPECT_EQ(seen.size(), 1U);
        return seen.empty() ? WebSeen{} : seen.front();
    }

    WebScript m_web;
};

std::vector<std::string> sorted_header_names(const WebSeen& seen) {
    std::vector<std::string> names;
    for (const auto& [name, value] : seen.headers) {
        std::string lower = name;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        names.push_back(lower);
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(WebExchangeContract, ABodyIsReadWholeInChunks) {
    const std::string body = web_long_body(5000);
    m_web.answer("GET /data", 200, body);
    const WebFetched fetched = web_get(m_web.url() + "/data");
    EXPECT_EQ(fetched.status, 200U);
    EXPECT_TRUE(fetched.body == body) << fetched.body.size() << " bytes";
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, AChunkedBodyIsReadWhole) {
    WebAnswer answer;
    answer.body = web_long_body(5000);
    answer.framing = WebFraming::chunked;
    answer.part_size = 700;
    m_web.answer("GET /data", answer);
    const WebFetched fetched = web_get(m_web.url() + "/data");
    EXPECT_TRUE(fetched.body == answer.body) << fetched.body.size() << " bytes";
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, ABodyWithoutALengthEndsWithItsConnection) {
    WebAnswer answer;
    answer.body = web_long_body(5000);
    answer.framing = WebFraming::until_close;
    m_web.answer("GET /data", answer);
    const WebFetched fetched = web_get(m_web.url() + "/data");
    EXPECT_TRUE(fetched.body == answer.body) << fetched.body.size() << " bytes";
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, ABodyOfSomeMegabytesIsReadWhole) {
    const std::string body = web_long_body(5U << 20U);
    m_web.answer("GET /data", 200, body);
    const WebFetched fetched = web_get(m_web.url() + "/data");
    EXPECT_TRUE(fetched.body == body) << fetched.body.size() << " bytes";
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, ABodyOfAnyBytesIsReadAsItIs) {
    std::string body;
    for (int byte = 0; byte < 256; ++byte) {
        body += static_cast<char>(byte);
    }
    WebAnswer answer;
    answer.body = body;
    answer.headers = {"Content-Type: text/html; charset=utf-16"};
    m_web.answer("GET /data", answer);
    EXPECT_EQ(web_get(m_web.url() + "/data").body, body);
}

TEST_F(WebExchangeContract, APackedBodyIsNotUnpacked) {
    const std::string body = "\x1f\x8b\x08 only looks like gzip";
    WebAnswer answer;
    answer.body = body;
    answer.headers = {"Content-Encoding: gzip"};
    m_web.answer("GET /data", answer);
    const WebFetched fetched = web_get(m_web.url() + "/data");
    EXPECT_TRUE(fetched.body == body) << fetched.body.size() << " bytes";
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, ReadingMayTakeLessThanIsAvailable) {
    m_web.answer("GET /data", 200, "abcdef");
    const std::string url = m_web.url() + "/data";
    const WebExchangePtr exchange = web_exchange_open({"GET", url.c_str()});
    ASSERT_TRUE(exchange);
    std::string body;
    std::array<char, 1> byte{};
    while (web_exchange_available(*exchange).value_or(0) > 0) {
        ASSERT_EQ(web_exchange_read(*exchange, byte), 1U);
        body += byte[0];
    }
    EXPECT_EQ(body, "abcdef");
}

TEST_F(WebExchangeContract, ReadingNeedsNoQuestionBefore) {
    const std::string expected = web_long_body(3000);
    m_web.answer("GET /data", 200, expected);
    const std::string url = m_web.url() + "/data";
    const WebExchangePtr exchange = web_exchange_open({"GET", url.c_str()});
    ASSERT_TRUE(exchange);
    std::string body;
    std::array<char, 1000> bytes{};
    while (const std::size_t count = web_exchange_read(*exchange, bytes).value_or(0)) {
        body.append(bytes.data(), count);
    }
    EXPECT_TRUE(body == expected) << body.size() << " bytes";
}

TEST_F(WebExchangeContract, TheEndStaysTheEnd) {
    m_web.answer("GET /data", 200, "a");
    const std::string url = m_web.url() + "/data";
    const WebExchangePtr exchange = web_exchange_open({"GET", url.c_str()});
    ASSERT_TRUE(exchange);
    std::array<char, 10> bytes{};
    EXPECT_EQ(web_exchange_available(*exchange), 1U);
    EXPECT_EQ(web_exchange_read(*exchange, bytes), 1U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(web_exchange_available(*exchange), 0U);
        EXPECT_EQ(web_exchange_read(*exchange, bytes), 0U);
    }
}

TEST_F(WebExchangeContract, AnEmptyBodyEndsAtOnce) {
    m_web.answer("GET /empty", 200, "");
    const WebFetched fetched = web_get(m_web.url() + "/empty");
    EXPECT_EQ(fetched.status, 200U);
    EXPECT_EQ(fetched.body, "");
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, AnAnswerThatNeverHasABodyEndsAtOnce) {
    m_web.answer("DELETE /thing", 204, "");
    const WebFetched fetched = web_send("DELETE", m_web.url() + "/thing", "{}");
    EXPECT_EQ(fetched.status, 204U);
    EXPECT_EQ(fetched.body, "");
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, WhateverStatusArrivesIsAnAnswer) {
    for (const int status : {201, 400, 401, 403, 404, 409, 429, 500, 503}) {
        WebAnswer answer;
        answer.status = status;
        answer.body = "{\"error\":\"x\"}";
        const std::string path = "/" + std::to_string(status);
        m_web.answer("POST " + path, answer);
        const WebFetched fetched = web_send("POST", m_web.url() + path, "{}");
        EXPECT_TRUE(fetched.is_answered);
        EXPECT_EQ(fetched.status, static_cast<std::uint32_t>(status));
        EXPECT_TRUE(fetched.body == answer.body) << fetched.body.size() << " bytes";
    }
}

TEST_F(WebExchangeContract, AQuestionForAPasswordIsAnAnswerToo) {
    WebAnswer answer;
    answer.status = 401;
    answer.headers = {"WWW-Authenticate: Basic realm=\"here\""};
    answer.body = "no";
    m_web.answer("GET /secret", answer);
    std::string url = m_web.url() + "/secret";
    url.insert(url.find("//") + 2, "user:password@");
    const WebFetched fetched = web_get(url);
    EXPECT_EQ(fetched.status, 401U);
    EXPECT_EQ(fetched.body, "no");
    EXPECT_FALSE(only_request().has_header("Authorization"));
}

TEST_F(WebExchangeContract, AGetSendsNothingButItsNameAndWhereItGoes) {
    m_web.answer("GET /x", 200, "{}");
    web_get(m_web.url() + "/x?y=1&z=");
    const WebSeen request = only_request();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/x?y=1&z=");
    EXPECT_EQ(request.version, "HTTP/1.1");
    EXPECT_EQ(request.header("Host"), m_web.url().substr(7)) << "the port in it";
    EXPECT_EQ(request.header("User-Agent"), "VelmoClient/1.0");
    EXPECT_EQ(request.header("Connection"), "Keep-Alive");
    EXPECT_EQ(sorted_header_names(request),
              (std::vector<std::string>{"connection", "host", "user-agent"}));
    EXPECT_EQ(request.body, "");
}

TEST_F(WebExchangeContract, ABodyIsSentAsJsonWithItsLength) {
    for (const char* method : {"POST", "DELETE"}) {
        WebScript web;
        web.answer(std::string(method) + " /x", 200, "{}");
        const std::string body = "{\"name\":\"Zo\xC3\xAB\"}";
        web_send(method, web.url() + "/x", body);
        const WebSeen request = only_request();
        EXPECT_EQ(request.method, method);
        EXPECT_EQ(request.header("Content-Type"), "application/json");
        EXPECT_EQ(request.header("Content-Length"), std::to_string(body.size()));
        EXPECT_EQ(sorted_header_names(request),
                  (std::vector<std::string>{"connection", "content-length", "content-type", "host",
                                            "user-agent"}));
        EXPECT_EQ(request.body, body);
    }
}

TEST_F(WebExchangeContract, AnEmptyBodyIsSentWithItsLength) {
    m_web.answer("POST /x", 200, "{}");
    web_send("POST", m_web.url() + "/x", "");
    const WebSeen request = only_request();
    EXPECT_EQ(request.header("Content-Length"), "0");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
}

TEST_F(WebExchangeContract, ALongBodyIsSentWhole) {
    const std::string body = web_long_body(3U << 20U);
    m_web.answer("POST /x", 200, "{}");
    EXPECT_TRUE(web_send("POST", m_web.url() + "/x", body).is_whole);
    EXPECT_TRUE(only_request().body == body);
}

TEST_F(WebExchangeContract, CookiesAreNotKept) {
    WebAnswer answer;
    answer.headers = {"Set-Cookie: a=b; Path=/"};
    m_web.answer("GET /x", answer);
    web_get(m_web.url() + "/x");
    web_get(m_web.url() + "/x");
    for (const WebSeen& request : m_web.seen()) {
        EXPECT_FALSE(request.has_header("Cookie"));
    }
}

TEST_F(WebExchangeContract, ExchangesOfTwoThreadsRunSideBySide) {
    WebAnswer answer;
    answer.head_gate = "both";
    for (const std::string name : {"a", "b"}) {
        answer.body = name + web_long_body(100000);
        m_web.answer("GET /" + name, answer);
    }
    std::array<WebFetched, 2> fetched;
    std::thread first([&] { fetched[0] = web_get(m_web.url() + "/a"); });
    std::thread second([&] { fetched[1] = web_get(m_web.url() + "/b"); });
    EXPECT_TRUE(m_web.wait_for_requests(2)) << "neither waits for the other's answer";
    m_web.open_gate("both");
    first.join();
    second.join();
    EXPECT_TRUE(fetched[0].body == "a" + web_long_body(100000));
    EXPECT_TRUE(fetched[1].body == "b" + web_long_body(100000));
}

TEST_F(WebExchangeContract, AnAnswerMayComeInManyPieces) {
    WebAnswer answer;
    answer.headers = {"X-Long: " + std::string(3000, 'x')};
    answer.body = web_long_body(40);
    answer.part_size = 1;
    answer.part_delay = 1;
    m_web.answer("GET /x", answer);
    const WebFetched fetched = web_get(m_web.url() + "/x");
    EXPECT_TRUE(fetched.body == answer.body) << fetched.body.size() << " bytes";
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, ASlowAnswerIsWaitedFor) {
    WebAnswer answer;
    answer.head_delay = 300;
    answer.body = "abcdef";
    answer.part_size = 2;
    answer.part_delay = 200;
    m_web.answer("GET /x", answer);
    const WebFetched fetched = web_get(m_web.url() + "/x");
    EXPECT_EQ(fetched.body, "abcdef");
    EXPECT_TRUE(fetched.is_whole);
}

TEST_F(WebExchangeContract, WhatHasArrivedIsThereBeforeTheRest) {
    WebAnswer answer;
    answer.body = "abcdef";
    answer.part_size = 3;
    answer.body_gate = "rest";
    m_web.answer("GET /x", answer);
    const std::string url = m_web.url() + "/x";
    const WebExchangePtr exchange = web_exchange_open({"GET", url.c_str()});
    ASSERT_TRUE(exchange);
    std::array<char, 3> bytes{};
    EXPECT_EQ(web_exchange_available(*exchange), 3U);
    EXPECT_EQ(web_exchange_read(*exchange, bytes), 3U);
    m_web.open_gate("rest");
    EXPECT_EQ(web_exchange_available(*exchange), 3U);
}

} // namespace
