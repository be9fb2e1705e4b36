// The web seam and a secure server that nobody trusts. Both systems must behave alike.
#include "contract/web_support.h"

#include <gtest/gtest.h>

namespace {

TEST(WebUntrusted, ACertificateThatNobodyTrustsIsRefusedBeforeAnythingIsAsked) {
    WebScript web;
    web.answer("GET /x", 200, "{}");
    EXPECT_FALSE(web_get(web.tls_url() + "/x?token=secret").is_answered);
    EXPECT_FALSE(web_send("POST", web.tls_url() + "/x", "secret").is_answered);
    EXPECT_TRUE(web.seen().empty());
}

TEST(WebUntrusted, ARedirectToIsNoAnswer) {
    WebScript web;
    WebAnswer answer;
    answer.status = 307;
    answer.headers = {"Location: " + web.tls_url() + "/x"};
    web.answer("POST /from", answer);
    EXPECT_FALSE(web_send("POST", web.url() + "/from", "secret").is_answered);
    EXPECT_EQ(web.seen().size(), 1U);
}

TEST(WebUntrusted, AServerThatSpeaksNoTlsIsNoAnswer) {
    const WebScript web;
    EXPECT_FALSE(web_get("https" + web.url().substr(4) + "/x").is_answered);
    EXPECT_TRUE(web.seen().empty());
}

} // namespace
