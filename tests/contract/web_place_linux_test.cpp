// Where a redirect leads, by RFC 3986's own examples (section 5.4) and by what a server may do
// wrong.
#include "platform/linux/web_place.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const WebUrl k_base{false, "a", 80, "/b/c/d;p?q"};

std::string place(std::string_view location, const WebUrl& base = k_base) {
    const auto url = web_place_of(base, location);
    return url ? web_url_text(*url) : "none";
}

TEST(WebPlace, ARelativeOneIsTakenFromTheBase) {
    const struct {
        const char* location;
        const char* target;
    } rows[] = {
        {"g", "/b/c/g"},
        {"./g", "/b/c/g"},
        {"g/", "/b/c/g/"},
        {"/g", "/g"},
        {"?y", "/b/c/d;p?y"},
        {"g?y", "/b/c/g?y"},
        {"#s", "/b/c/d;p?q"},
        {"g#s", "/b/c/g"},
        {"g?y#s", "/b/c/g?y"},
        {";x", "/b/c/;x"},
        {"g;x?y#s", "/b/c/g;x?y"},
        {"", "/b/c/d;p?q"},
        {".", "/b/c/"},
        {"./", "/b/c/"},
        {"..", "/b/"},
        {"../", "/b/"},
        {"../g", "/b/g"},
        {"../..", "/"},
        {"../../g", "/g"},
        {"../../../g", "/g"},
        {"/./g", "/g"},
        {"/../g", "/g"},
        {"/.", "/"},
        {"/..", "/"},
        {"g.", "/b/c/g."},
        {"..g", "/b/c/..g"},
        {"./../g", "/b/g"},
        {"./g/.", "/b/c/g/"},
        {"g/../h", "/b/c/h"},
        {"g;x=1/../y", "/b/c/y"},
        {"g?y/../x", "/b/c/g?y/../x"},
        {"/a//b/", "/a//b/"},
        {"a b", "/b/c/a%20b"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(place(row.location), std::string("http://a:80") + row.target) << row.location;
    }
}

TEST(WebPlace, ANetworkPathKeepsTheScheme) {
    EXPECT_EQ(place("//g"), "http://g:80/");
    EXPECT_EQ(place("//g:81?x"), "http://g:81/?x");
    EXPECT_EQ(place("//g/..", {true, "a", 443, "/"}), "https://g:443/..");
    EXPECT_EQ(place("//"), "none");
    EXPECT_EQ(place("///g"), "none");
}

TEST(WebPlace, AWholeAddressStandsForItself) {
    EXPECT_EQ(place("https://g/x"), "https://g:443/x");
    EXPECT_EQ(place("HTTP://g#s"), "http://g:80/");
    for (const char* location : {"ftp://g/", "mailto:a@g", "g:h", "http:g", "http:"}) {
        EXPECT_EQ(place(location), "none") << location;
    }
}

TEST(WebPlace, AnIpv6HostIsKept) {
    EXPECT_EQ(place("/x", {false, "[::1]", 81, "/y"}), "http://[::1]:81/x");
}

TEST(WebPlace, AControlCharacterIsNoAddress) {
    EXPECT_EQ(place("/x\r\nSet-Cookie: y"), "none");
    EXPECT_EQ(place(std::string_view("/x\0y", 4)), "none");
}

} // namespace
