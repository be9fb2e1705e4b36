// What both halves of the web socket seam share.
#include "platform/web_socket_rules.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

std::string url_of(const char* host, std::uint16_t port, const char* path, bool is_secure = false) {
    const auto url = web_socket_url({host, port, path, is_secure});
    return url ? web_url_text(*url) : "none";
}

TEST(WebSocketRules, AnAddressBecomesAnUrl) {
    EXPECT_EQ(url_of("velmo.example", 443, "/ws?a=b", true), "https://velmo.example:443/ws?a=b");
    EXPECT_EQ(url_of("127.0.0.1", 3603, "/"), "http://127.0.0.1:3603/");
    EXPECT_EQ(url_of("::1", 3603, "/ws"), "http://[::1]:3603/ws");
    EXPECT_EQ(url_of("müller.example", 80, "/ü x"), "http://müller.example:80/%C3%BC%20x");
}

TEST(WebSocketRules, WhatWouldBeTakenForSomethingElseIsNoAddress) {
    EXPECT_EQ(url_of("", 80, "/"), "none");
    EXPECT_EQ(url_of(nullptr, 80, "/"), "none");
    EXPECT_EQ(url_of("host", 0, "/"), "none");
    EXPECT_EQ(url_of("host", 80, ""), "none");
    EXPECT_EQ(url_of("host", 80, nullptr), "none");
    EXPECT_EQ(url_of("host", 80, "@other/"), "none");
    EXPECT_EQ(url_of("user@host", 80, "/"), "none");
    EXPECT_EQ(url_of("host/path?", 80, "/"), "none");
    EXPECT_EQ(url_of("host#", 80, "/"), "none");
    EXPECT_EQ(url_of("ho st", 80, "/"), "none");
    EXPECT_EQ(url_of("[::1]", 80, "/"), "none");
    EXPECT_EQ(url_of("host", 80, "/\r\nX: y"), "none");
}

TEST(WebSocketRules, OnlyAStatusThatAClientMaySendIsSent) {
    for (const auto status : std::to_array<std::uint16_t>(
             {1000, 1001, 1002, 1003, 1007, 1008, 1009, 1010, 3000, 4999})) {
        EXPECT_EQ(web_socket_goodbye(status), status);
    }
    for (const auto status : std::to_array<std::uint16_t>(
             {0, 1, 999, 1004, 1005, 1006, 1011, 1015, 2999, 5000, 65535})) {
        EXPECT_EQ(web_socket_goodbye(status), 1000) << status;
    }
}

TEST(WebSocketRules, OnlyUtf8IsText) {
    using namespace std::string_view_literals;
    for (const std::string_view text :
         {""sv, "a"sv, "a\0b"sv, "\x7F"sv, "\xC2\x80"sv, "\xDF\xBF"sv, "\xE0\xA0\x80"sv,
          "\xED\x9F\xBF"sv, "\xEE\x80\x80"sv, "\xEF\xBF\xBF"sv, "\xF0\x90\x80\x80"sv,
          "\xF4\x8F\xBF\xBF"sv, "aü日🎧z"sv}) {
        EXPECT_TRUE(web_socket_is_text(text)) << text;
    }
    for (const std::string_view text :
         {"\x80"sv, "\xC0\x80"sv, "\xC1\xBF"sv, "\xC2"sv, "\xC2z"sv, "\xE0\x9F\xBF"sv,
          "\xED\xA0\x80"sv, "\xE2\x82"sv, "\xF0\x8F\xBF\xBF"sv, "\xF4\x90\x80\x80"sv,
          "\xF5\x80\x80\x80"sv, "\xFF"sv, "ok \xF0\x9F\x8E"sv}) {
        EXPECT_FALSE(web_socket_is_text(text));
    }
}

} // namespace
