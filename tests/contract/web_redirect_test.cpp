// The web seam where an answer points elsewhere. Both systems must behave alike.
#include "contract/web_support.h"

#include <gtest/gtest.h>

namespace {

class WebRedirect : public WebTest {};

TEST_F(WebRedirect, AnAbsoluteAddressIsFollowed) {
    redirect("GET /from", 302, m_web.url() + "/to?a=b");
    m_web.answer("GET /to", 200, "there");
    const WebFetched fetched = web_get(m_web.url() + "/from");
    EXPECT_EQ(fetched.status, 200U);
    EXPECT_EQ(fetched.body, "there");
    EXPECT_EQ(last_of(2).target, "/to?a=b");
}

TEST_F(WebRedirect, APathIsFollowed) {
    redirect("GET /deep/from", 301, "/to");
    m_web.answer("GET /to", 200, "there");
    EXPECT_EQ(web_get(m_web.url() + "/deep/from").body, "there");
}

TEST_F(WebRedirect, APostThatMovedIsNotSentAgain) {
    for (const int status : {301, 302, 303}) {
        WebScript web;
        redirect("POST /from", status, "/to");
        web_send("POST", web.url() + "/from", "{\"a\":1}");
        const std::vector<WebSeen> seen = web.seen();
        for (std::size_t i = 1; i < seen.size(); ++i) {
            EXPECT_EQ(seen[i].method, "GET") << status;
            EXPECT_EQ(seen[i].body, "") << status;
        }
    }
}

TEST_F(WebRedirect, APostThatIsServedElsewhereIsSentThere) {
    redirect("POST /from", 307, "/to");
    m_web.answer("POST /to", 201, "there");
    const WebFetched fetched = web_send("POST", m_web.url() + "/from", "{\"a\":1}");
    EXPECT_EQ(fetched.status, 201U);
    EXPECT_EQ(fetched.body, "there");
    const WebSeen request = last_of(2);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, "{\"a\":1}");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("Content-Length"), "7");
}

TEST_F(WebRedirect, ADeleteThatIsServedElsewhereIsSentThere) {
    redirect("DELETE /from", 307, "/to");
    m_web.answer("DELETE /to", 204, "");
    EXPECT_EQ(web_send("DELETE", m_web.url() + "/from", "{\"a\":1}").status, 204U);
    EXPECT_EQ(last_of(2).body, "{\"a\":1}");
}

TEST_F(WebRedirect, TenInARowAreFollowed) {
    for (int i = 0; i < 10; ++i) {
        redirect("GET /" + std::to_string(i), 302, "/" + std::to_string(i + 1));
    }
    m_web.answer("GET /10", 200, "there");
    EXPECT_EQ(web_get(m_web.url() + "/0").body, "there");
}

TEST_F(WebRedirect, ALoopEnds) {
    redirect("GET /a", 302, "/b");
    redirect("GET /b", 302, "/a");
    EXPECT_FALSE(web_get(m_web.url() + "/a").is_answered);
    last_of(11);
}

TEST_F(WebRedirect, AnAnswerThatPointsNowhereIsNotFollowed) {
    WebAnswer answer;
    answer.status = 302;
    m_web.answer("GET /x", answer);
    EXPECT_NE(web_get(m_web.url() + "/x").status, 200U);
    last_of(1);
}

TEST_F(WebRedirect, AnAnswerThatOnlyNamesAPlaceIsTheAnswer) {
    redirect("POST /x", 201, m_web.url() + "/new");
    EXPECT_EQ(web_send("POST", m_web.url() + "/x", "{}").status, 201U);
    last_of(1);
}

TEST_F(WebRedirect, OtherKindsOfAddressesAreNotFollowed) {
    for (const std::string location : {"ftp://127.0.0.1/x", "file:///etc/passwd"}) {
        WebScript web;
        redirect("GET /x", 302, location);
        EXPECT_NE(web_get(web.url() + "/x").status, 200U) << location;
    }
}

TEST_F(WebRedirect, AnUnreachablePlaceIsNoAnswer) {
    redirect("GET /x", 302, m_web.closed_url() + "/");
    EXPECT_FALSE(web_get(m_web.url() + "/x").is_answered);
}

} // namespace
