// The web seam beside the interface's loop, which libsoup would use; Linux only.
#include "contract/web_support.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <array>
#include <string>

namespace {

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

class WebLoop : public WebTest {};

TEST_F(WebLoop, GetsNoWork) {
    m_web.answer("GET /x", 200, "{}");
    const std::string url = m_web.url() + "/x";
    const WebExchangePtr unread = web_exchange_open({"GET", url.c_str()});
    const WebExchangePtr read = web_exchange_open({"GET", url.c_str()});
    ASSERT_TRUE(unread && read);
    std::array<char, 2> bytes{};
    EXPECT_EQ(web_exchange_read(*read, bytes), 2U);
    EXPECT_EQ(web_exchange_read(*read, bytes), 0U);
    EXPECT_FALSE(web_get(m_web.closed_url() + "/x").is_answered);
    EXPECT_EQ(next_timer(), -1);
}

} // namespace
