// The web seam over TLS, in a program that trusts the scripted server from its start: a system may
// decide once per process whom it trusts. Both systems must behave alike.
#include "contract/web_support.h"
#include "contract/web_system.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class TrustEnvironment : public testing::Environment {
  public:
    void SetUp() override {
        m_trust = std::make_unique<WebTrust>(web_certificate_path());
        ASSERT_TRUE(m_trust->is_ready());
    }
    void TearDown() override { m_trust.reset(); }

  private:
    std::unique_ptr<WebTrust> m_trust;
};

// GoogleTest owns it.
[[maybe_unused]] const testing::Environment* const g_trust =
    testing::AddGlobalTestEnvironment(new TrustEnvironment);

class WebTls : public testing::Test {
  protected:
    WebTls() { m_web.answer("GET /x", 200, "{\"a\":1}"); }

    // The same server under a name that its certificate is not for.
    std::string other_name_url() const {
        std::string url = m_web.tls_url();
        return url.replace(url.find("localhost"), 9, "127.0.0.1");
    }

    WebScript m_web;
};

TEST_F(WebTls, ATrustedCertificateIsAccepted) {
    const WebFetched fetched = web_get(m_web.tls_url() + "/x?y=1");
    EXPECT_EQ(fetched.status, 200U);
    EXPECT_EQ(fetched.body, "{\"a\":1}");
    EXPECT_TRUE(fetched.is_whole);
    const auto seen = m_web.seen();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_TRUE(seen[0].is_secure);
    EXPECT_EQ(seen[0].target, "/x?y=1");
}

TEST_F(WebTls, ACertificateForAnotherNameIsRefusedBeforeAnythingIsAsked) {
    EXPECT_FALSE(web_get(other_name_url() + "/x").is_answered);
    EXPECT_TRUE(m_web.seen().empty());
}

TEST_F(WebTls, ABodyOfSomeMegabytesIsSentAndReadWhole) {
    const std::string body = web_long_body(3U << 20U);
    m_web.answer("POST /x", 200, body);
    const WebFetched fetched = web_send("POST", m_web.tls_url() + "/x", body);
    EXPECT_TRUE(fetched.body == body) << fetched.body.size() << " bytes";
    EXPECT_TRUE(fetched.is_whole);
    const auto seen = m_web.seen();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_TRUE(seen[0].body == body) << seen[0].body.size() << " bytes";
}

TEST_F(WebTls, OfABodyThatIsCutWhatCameIsDelivered) {
    WebAnswer answer;
    answer.body = web_long_body(20000);
    answer.cut = 12345;
    m_web.answer("GET /cut", answer);
    const WebFetched fetched = web_get(m_web.tls_url() + "/cut");
    EXPECT_TRUE(fetched.body == answer.body.substr(0, 12345)) << fetched.body.size();
}

TEST_F(WebTls, ARedirectToAnOpenConnectionIsNotFollowed) {
    WebAnswer answer;
    answer.status = 302;
    answer.headers = {"Location: " + m_web.url() + "/open"};
    m_web.answer("GET /from", answer);
    m_web.answer("GET /open", 200, "overheard");
    const WebFetched fetched = web_get(m_web.tls_url() + "/from");
    if (fetched.is_answered) { // Wine gives none
        EXPECT_EQ(fetched.status, 302U);
    }
    EXPECT_NE(fetched.body, "overheard");
    EXPECT_EQ(m_web.seen().size(), 1U);
}

TEST_F(WebTls, ARedirectToASecureConnectionIsFollowed) {
    WebAnswer answer;
    answer.status = 302;
    answer.headers = {"Location: " + m_web.tls_url() + "/x"};
    m_web.answer("GET /from", answer);
    EXPECT_EQ(web_get(m_web.url() + "/from").body, "{\"a\":1}");
    EXPECT_EQ(web_get(m_web.tls_url() + "/from").body, "{\"a\":1}");
}

} // namespace
