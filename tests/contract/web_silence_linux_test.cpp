// The web seam before a server that says nothing more. Linux; linked with --wrap, which makes the
// time that it waits for shorter: the other half leaves it to the system.
#include "contract/web_support.h"

#include <gtest/gtest.h>

#include <libsoup/soup.h>

#include <array>
#include <chrono>
#include <cstdarg>

namespace {

unsigned g_silence_seconds = 0; // that the seam asked for last

} // namespace

// The linker's name for the replacement.
extern "C" SoupSession* __wrap_soup_session_new_with_options(const char* name, ...);

extern "C" SoupSession* __wrap_soup_session_new_with_options(const char* name, ...) {
    std::va_list options;
    va_start(options, name);
    auto* const session =
        reinterpret_cast<SoupSession*>(g_object_new_valist(SOUP_TYPE_SESSION, name, options));
    va_end(options);
    g_silence_seconds = soup_session_get_timeout(session);
    soup_session_set_timeout(session, 2);
    return session;
}

namespace {

class WebSilence : public WebTest {
  protected:
    // A silent answer goes on by itself after half a minute.
    ~WebSilence() override {
        EXPECT_LT(std::chrono::steady_clock::now() - m_begin, std::chrono::seconds(20));
        m_web.open_gate("silence");
    }

    std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
};

TEST_F(WebSilence, OfHalfAMinuteIsAskedFor) {
    get({});
    EXPECT_EQ(g_silence_seconds, 30U);
}

TEST_F(WebSilence, InsteadOfAnAnswerIsNoAnswerAndNothingIsAskedTwice) {
    WebAnswer answer;
    answer.head_gate = "silence";
    EXPECT_FALSE(get(answer).is_answered);
    EXPECT_EQ(m_web.seen().size(), 1U);
}

TEST_F(WebSilence, InABodyFailsBehindWhatCame) {
    WebAnswer answer;
    answer.body = "abcdef";
    answer.part_size = 3;
    answer.body_gate = "silence";
    const WebFetched fetched = get(answer);
    EXPECT_EQ(fetched.status, 200U);
    EXPECT_EQ(fetched.body, "abc");
    EXPECT_FALSE(fetched.is_whole);
}

} // namespace
