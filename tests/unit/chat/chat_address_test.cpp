// The chat channel's address taken apart.
#include "chat/chat_address.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// "HOST PORT PATH", with "s" behind it for a secure one; "none" for no address.
std::string parts(const std::string& url) {
    ChatAddress address;
    if (!parse_chat_ws_url(url.c_str(), address)) {
        return "none";
    }
    return std::string(address.host) + " " + std::to_string(address.port) + " " + address.path +
           (address.is_secure ? " s" : "");
}

std::string letters(std::size_t count) {
    return std::string(count, 'h');
}

TEST(ChatAddress, SchemeGivesPortAndSafety) {
    EXPECT_EQ(parts("ws://host/ws"), "host 80 /ws");
    EXPECT_EQ(parts("wss://host/ws"), "host 443 /ws s");
}

TEST(ChatAddress, OtherSchemesAreNone) {
    for (const char* url : {"", "ws:", "ws:/host", "http://host", "WS://host", "wsss://host",
                            " ws://host", "host:3603"}) {
        EXPECT_EQ(parts(url), "none") << url;
    }
    ChatAddress address;
    EXPECT_FALSE(parse_chat_ws_url(nullptr, address));
}

TEST(ChatAddress, PathIsASlashWhereThereIsNone) {
    EXPECT_EQ(parts("ws://127.0.0.1:3603"), "127.0.0.1 3603 /");
    EXPECT_EQ(parts("ws://127.0.0.1:3603/"), "127.0.0.1 3603 /");
    EXPECT_EQ(parts("wss://host:1/a/b?c=d:e#f"), "host 1 /a/b?c=d:e#f s");
}

TEST(ChatAddress, LongPathIsCutAt511Bytes) {
    EXPECT_EQ(parts("ws://h/" + letters(510)), "h 80 /" + letters(510));
    EXPECT_EQ(parts("ws://h/" + letters(511)), "h 80 /" + letters(510));
}

TEST(ChatAddress, PortThatIsNoneIsIgnored) {
    EXPECT_EQ(parts("ws://h:1"), "h 1 /");
    EXPECT_EQ(parts("ws://h:65535"), "h 65535 /");
    for (const char* port : {"0", "65536", "99999999999999999999", "", "-1", "x", "80x", " 80"}) {
        EXPECT_EQ(parts(std::string("ws://h:") + port + "/p"), "h 80 /p") << port;
        EXPECT_EQ(parts(std::string("wss://[::1]:") + port), "::1 443 / s") << port;
    }
}

TEST(ChatAddress, BracketsHoldAnAddressWithColons) {
    EXPECT_EQ(parts("ws://[::1]:3603/ws"), "::1 3603 /ws");
    EXPECT_EQ(parts("ws://[::1]"), "::1 80 /");
    EXPECT_EQ(parts("ws://[fe80::1]x:9"), "fe80::1 80 /");
    EXPECT_EQ(parts("ws://[" + letters(255) + "]:9"), letters(255) + " 9 /");
    for (const std::string& authority : {std::string("["), std::string("[]"), std::string("[]:9"),
                                         std::string("[::1"), "[" + letters(256) + "]"}) {
        EXPECT_EQ(parts("ws://" + authority), "none") << authority;
    }
}

TEST(ChatAddress, LastColonSeparatesThePort) {
    EXPECT_EQ(parts("ws://::1:3603"), "::1 3603 /");
    EXPECT_EQ(parts("ws://a:b:9"), "a:b 9 /");
    EXPECT_EQ(parts("ws://:9"), "none");
}

TEST(ChatAddress, AuthorityHas1To319Bytes) {
    EXPECT_EQ(parts("ws:///ws"), "none");
    EXPECT_EQ(parts("ws://" + letters(319)), letters(319) + " 80 /");
    EXPECT_EQ(parts("ws://" + letters(320)), "none");
    EXPECT_EQ(parts("ws://" + letters(314) + ":3603"), letters(314) + " 3603 /");
    EXPECT_EQ(parts("ws://" + letters(315) + ":3603/ws"), "none");
}

} // namespace
