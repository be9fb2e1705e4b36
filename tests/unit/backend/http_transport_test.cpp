// The HTTP transport: what it asks of the exchange, how it cuts and collects bodies, and what it
// leaves alone when nobody answers.
#include "backend/http_transport.h"

#include "support/fake_web_exchange.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr const char* k_url = "http://host:8080/x?y=1";

class HttpTransport : public testing::Test {
  protected:
    ~HttpTransport() override { EXPECT_EQ(web.open_exchanges(), 0); }

    FakeWeb web;
    std::uint32_t status = 0;
};

std::string pattern_bytes(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>('a' + i % 23);
    }
    return bytes;
}

TEST_F(HttpTransport, AGetSendsNoBody) {
    web.answer(200, "hi");
    char out[16];
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(web.last_call(), (WebCall{"GET", k_url, "", false}));
    EXPECT_EQ(status, 200U);
    EXPECT_STREQ(out, "hi");
}

TEST_F(HttpTransport, APostSendsItsBody) {
    web.answer(201, "");
    char out[16] = "old";
    EXPECT_TRUE(http_post_json(k_url, "{\"a\":1}", &status, out));
    EXPECT_EQ(web.last_call(), (WebCall{"POST", k_url, "{\"a\":1}", true}));
    EXPECT_EQ(status, 201U);
    EXPECT_STREQ(out, "");
}

TEST_F(HttpTransport, APostOfAnEmptyBodyStillHasOne) {
    web.answer(200, "");
    EXPECT_TRUE(http_post_json(k_url, "", &status, {}));
    EXPECT_EQ(web.last_call(), (WebCall{"POST", k_url, "", true}));
}

TEST_F(HttpTransport, APostWithoutABodyIsNotSent) {
    web.answer(200, "");
    EXPECT_FALSE(http_post_json(k_url, nullptr, &status, {}));
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(HttpTransport, ADeleteSendsItsBody) {
    web.answer(200, "");
    EXPECT_TRUE(http_delete_json(k_url, "{\"a\":1}", &status, {}));
    EXPECT_EQ(web.last_call(), (WebCall{"DELETE", k_url, "{\"a\":1}", true}));
}

TEST_F(HttpTransport, ADeleteWithoutABodySendsAnEmptyObject) {
    web.answer(200, "");
    EXPECT_TRUE(http_delete_json(k_url, nullptr, &status, {}));
    EXPECT_EQ(web.last_call(), (WebCall{"DELETE", k_url, "{}", true}));
}

TEST_F(HttpTransport, AnAddressReachesTheExchangeAsItIs) {
    web.answer_always({});
    for (const char* url : {"https://host/", "http://host:8080/x?y=1", "https://h/ñ?a=b#c", ""}) {
        EXPECT_TRUE(http_get(url, &status, {}));
        EXPECT_EQ(web.last_call().url, url);
    }
}

TEST_F(HttpTransport, ANullAddressIsNotSent) {
    web.answer_always({});
    ByteBlock data;
    std::uint64_t size = 0;
    EXPECT_FALSE(http_get(nullptr, &status, {}));
    EXPECT_FALSE(http_post_json(nullptr, "{}", &status, {}));
    EXPECT_FALSE(http_delete_json(nullptr, "{}", &status, {}));
    EXPECT_FALSE(http_get_binary(nullptr, &status, &data, &size));
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(HttpTransport, AnyStatusIsASuccessOfTheTransport) {
    for (const std::uint32_t code : {200U, 204U, 302U, 404U, 500U, 599U}) {
        web.answer(code, "text");
        char out[8];
        EXPECT_TRUE(http_get(k_url, &status, out));
        EXPECT_EQ(status, code);
        EXPECT_STREQ(out, "text");
    }
}

TEST_F(HttpTransport, AnUnreachableHostLeavesStatusAndBufferAlone) {
    char out[8] = "before";
    status = 7;
    EXPECT_FALSE(http_get(k_url, &status, out));
    EXPECT_FALSE(http_post_json(k_url, "{}", &status, out));
    EXPECT_FALSE(http_delete_json(k_url, "{}", &status, out));
    EXPECT_EQ(web.calls().size(), 3U);
    EXPECT_EQ(status, 7U);
    EXPECT_STREQ(out, "before");
}

TEST_F(HttpTransport, AnUnreachableHostYieldsFalseAndStatusZero) {
    ByteBlock data;
    std::uint64_t size = 0;
    for (int i = 0; i < 4; ++i) {
        web.answer_unreachable();
    }
    EXPECT_FALSE(http_get(k_url, &status, {}));
    EXPECT_FALSE(http_post_json(k_url, "{}", &status, {}));
    EXPECT_FALSE(http_delete_json(k_url, "{}", &status, {}));
    EXPECT_EQ(status, 0U); // as the callers begin
    status = 7;
    EXPECT_FALSE(http_get_binary(k_url, &status, &data, &size));
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(web.unused_answers(), 0U);
}

TEST_F(HttpTransport, AnUntoldStatusStaysAsTheCallerSetIt) {
    web.answer_always({.status = std::nullopt, .body = "text"});
    char out[8];
    status = 7;
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(status, 7U);
    EXPECT_STREQ(out, "text");
}

TEST_F(HttpTransport, ABodyLongerThanTheBufferIsCutAndStillASuccess) {
    const std::string body = pattern_bytes(5000);
    web.answer(404, body);
    std::vector<char> out(4096, 'x');
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(status, 404U);
    EXPECT_EQ(out[4095], '\0');
    EXPECT_EQ(std::string(out.data()), body.substr(0, 4095));
}

TEST_F(HttpTransport, NothingIsWrittenBehindTheBuffer) {
    for (const std::size_t size : {1U, 2U, 511U, 512U, 513U, 1023U}) {
        web.answer(200, pattern_bytes(2000));
        std::vector<char> memory(size + 8, 'x');
        EXPECT_TRUE(http_get(k_url, &status, std::span(memory).first(size)));
        EXPECT_EQ(std::strlen(memory.data()), size - 1);
        EXPECT_EQ(std::string(memory.data() + size, 8), "xxxxxxxx");
    }
}

TEST_F(HttpTransport, ABodyOfExactlyTheRoomIsWhole) {
    for (const std::size_t length : {510U, 511U, 512U, 1022U, 1023U}) {
        const std::string body = pattern_bytes(length);
        web.answer(200, body);
        std::vector<char> out(length + 1, 'x');
        EXPECT_TRUE(http_get(k_url, &status, out));
        EXPECT_EQ(std::string(out.data()), body);
    }
}

TEST_F(HttpTransport, ReadingStopsOnceTheBufferIsFull) {
    web.answer(200, pattern_bytes(100'000));
    char out[1000];
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(web.bytes_read(), 2U * 511);
}

TEST_F(HttpTransport, AReadAsksForAtMost511Bytes) {
    web.answer(200, pattern_bytes(5000));
    char out[4096];
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(web.largest_read(), 511U);
}

TEST_F(HttpTransport, AReadNeverAsksForMoreThanIsThere) {
    web.answer({.body = pattern_bytes(50), .piece = 7});
    char out[64];
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(web.largest_read(), 7U);
}

TEST_F(HttpTransport, ABodyInAnyPiecesArrivesWhole) {
    const std::string body = pattern_bytes(3000);
    for (const std::size_t piece : {1U, 2U, 510U, 511U, 512U, 1000U}) {
        web.answer({.body = body, .piece = piece});
        char out[4096];
        EXPECT_TRUE(http_get(k_url, &status, out));
        EXPECT_EQ(std::string(out), body);
    }
}

TEST_F(HttpTransport, WithoutABufferNothingIsRead) {
    web.answer(200, "body");
    EXPECT_TRUE(http_get(k_url, &status, {}));
    EXPECT_EQ(status, 200U);
    EXPECT_EQ(web.bytes_read(), 0U);
}

TEST_F(HttpTransport, ABodyThatBreaksOffIsNoFailure) {
    const std::string body = pattern_bytes(2000);
    web.answer({.body = body, .read_fails_at = 511});
    char out[4096];
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(std::string(out), body.substr(0, 511));

    web.answer({.body = body, .piece = 100, .available_fails_at = 300});
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(std::string(out), body.substr(0, 300));
}

TEST_F(HttpTransport, AReadThatBringsNothingEndsTheBody) {
    web.answer({.body = "abc", .claims = 10});
    char out[16];
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_STREQ(out, "abc");
}

TEST_F(HttpTransport, ZeroBytesInABodyTakeTheirRoom) {
    web.answer(200, std::string("a\0b", 3) + pattern_bytes(20));
    char out[8];
    EXPECT_TRUE(http_get(k_url, &status, out));
    EXPECT_EQ(std::string(out, 8), std::string("a\0babcd\0", 8));
}

std::string address_of(std::size_t length) {
    std::string url = "http://h/";
    url.append(length - url.size(), 'x');
    return url;
}

TEST_F(HttpTransport, AnAddressOf511UnitsIsSentAndOneOf512IsNot) {
    web.answer_always({});
    EXPECT_TRUE(http_get(address_of(511).c_str(), &status, {}));
    EXPECT_EQ(web.last_call().url, address_of(511));
    web.forget_calls();
    status = 7;
    const std::string too_long = address_of(512);
    EXPECT_FALSE(http_get(too_long.c_str(), &status, {}));
    EXPECT_FALSE(http_post_json(too_long.c_str(), "{}", &status, {}));
    EXPECT_FALSE(http_delete_json(too_long.c_str(), "{}", &status, {}));
    EXPECT_TRUE(web.calls().empty());
    EXPECT_EQ(status, 7U);
}

TEST_F(HttpTransport, ABinaryAddressMayHave1023Units) {
    web.answer_always({});
    ByteBlock data;
    std::uint64_t size = 0;
    EXPECT_TRUE(http_get_binary(address_of(1023).c_str(), &status, &data, &size));
    EXPECT_FALSE(http_get_binary(address_of(1024).c_str(), &status, &data, &size));
    EXPECT_EQ(web.calls().size(), 1U);
}

// Each in UTF-8, with its UTF-16 units and what is sent.
struct AddressCase {
    const char* bytes;
    std::size_t units;
    const char* sent;
};

constexpr AddressCase k_address_cases[] = {
    {"x", 1, "x"},
    {"\x7F", 1, "\x7F"},
    {"\xC2\x80", 1, "\xC2\x80"},                          // U+0080
    {"\xDF\xBF", 1, "\xDF\xBF"},                          // U+07FF
    {"\xE0\xA0\x80", 1, "\xE0\xA0\x80"},                  // U+0800
    {"\xED\x9F\xBF", 1, "\xED\x9F\xBF"},                  // U+D7FF
    {"\xEE\x80\x80", 1, "\xEE\x80\x80"},                  // U+E000
    {"\xEF\xBF\xBF", 1, "\xEF\xBF\xBF"},                  // U+FFFF
    {"\xF0\x90\x80\x80", 2, "\xF0\x90\x80\x80"},          // U+10000
    {"\xF1\x80\x80\x80", 2, "\xF1\x80\x80\x80"},          // U+40000
    {"\xF4\x8F\xBF\xBF", 2, "\xF4\x8F\xBF\xBF"},          // U+10FFFF
    {"\x80", 1, "\uFFFD"},                                // alone
    {"\xBF\xBF", 2, "\uFFFD\uFFFD"},                      //
    {"\xC0\x80", 2, "\uFFFD\uFFFD"},                      // overlong
    {"\xC1\xBF", 2, "\uFFFD\uFFFD"},                      //
    {"\xE0\x9F\xBF", 3, "\uFFFD\uFFFD\uFFFD"},            //
    {"\xF0\x8F\xBF\xBF", 4, "\uFFFD\uFFFD\uFFFD\uFFFD"},  //
    {"\xED\xA0\x80", 3, "\uFFFD\uFFFD\uFFFD"},            // a surrogate
    {"\xF4\x90\x80\x80", 4, "\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
    {"\xF5\x80", 2, "\uFFFD\uFFFD"},                      //
    {"\xFF", 1, "\uFFFD"},                                //
    {"\xC3", 1, "\uFFFD"},                                // cut off at the end
    {"\xE2\x82", 1, "\uFFFD"},                            //
    {"\xF0\x9F\x98", 1, "\uFFFD"},                        //
    {"\xC3x", 2, "\uFFFDx"},                              // broken off by another
    {"\xE2\x82x", 2, "\uFFFDx"},                          //
    {"\xF0\x9F\x98\xE2\x82\xAC", 2, "\uFFFD\xE2\x82\xAC"} //
};

TEST_F(HttpTransport, BrokenCharactersOfAnAddressAreReplacedBeforeItIsCountedAndSent) {
    web.answer_always({});
    for (const AddressCase& row : k_address_cases) {
        const std::string fits = address_of(511 - row.units) + row.bytes;
        EXPECT_TRUE(http_get(fits.c_str(), &status, {})) << fits;
        EXPECT_EQ(web.last_call().url, address_of(511 - row.units) + row.sent);
        const std::string too_long = address_of(512 - row.units) + row.bytes;
        EXPECT_FALSE(http_get(too_long.c_str(), &status, {})) << too_long;
    }
}

TEST_F(HttpTransport, TheBytesOfAnAddressAreNotWhatIsCounted) {
    web.answer_always({});
    std::string url = "http://h/"; // 9 units
    for (int i = 0; i < 502; ++i) {
        url += "\xE2\x82\xAC";
    }
    EXPECT_TRUE(http_get(url.c_str(), &status, {}));
    EXPECT_EQ(web.last_call().url, url);
    url += "\xE2\x82\xAC";
    EXPECT_FALSE(http_get(url.c_str(), &status, {}));
}

class HttpGetBinary : public HttpTransport {
  protected:
    bool get() { return http_get_binary(k_url, &status, &data, &size); }
    std::string bytes() const {
        return {reinterpret_cast<const char*>(data.get()), static_cast<std::size_t>(size)};
    }
    void hold_something() {
        data = ByteBlock(static_cast<std::uint8_t*>(std::calloc(4, 1)));
        size = 4;
        status = 7;
    }
    bool holds_nothing() const { return data == nullptr && size == 0; }

    ByteBlock data;
    std::uint64_t size = 0;
};

TEST_F(HttpGetBinary, AWholeBodyOfAnyLengthAndAnyPiecesArrives) {
    for (const std::size_t length : {1U, 2U, 511U, 4096U, 70'000U}) {
        for (const std::size_t piece : {1U, 3U, 511U, 512U, 8192U, 100'000U}) {
            std::string body = pattern_bytes(length);
            body[length / 2] = '\0';
            web.answer({.body = body, .piece = piece});
            EXPECT_TRUE(get());
            EXPECT_EQ(status, 200U);
            ASSERT_EQ(size, length);
            EXPECT_EQ(bytes(), body);
        }
    }
    EXPECT_EQ(web.last_call(), (WebCall{"GET", k_url, "", false}));
}

TEST_F(HttpGetBinary, AnEmptyBodyGivesANullBlock) {
    hold_something();
    web.answer(204, "");
    EXPECT_TRUE(get());
    EXPECT_EQ(status, 204U);
    EXPECT_TRUE(holds_nothing());
}

TEST_F(HttpGetBinary, AnErrorStatusIsASuccessOfTheTransport) {
    web.answer(404, "gone");
    EXPECT_TRUE(get());
    EXPECT_EQ(status, 404U);
    EXPECT_EQ(bytes(), "gone");
}

TEST_F(HttpGetBinary, AnUnreachableHostLeavesEverythingCleared) {
    hold_something();
    EXPECT_FALSE(get());
    EXPECT_EQ(status, 0U);
    EXPECT_TRUE(holds_nothing());
}

TEST_F(HttpGetBinary, AnAddressThatIsTooLongLeavesEverythingCleared) {
    hold_something();
    EXPECT_FALSE(http_get_binary(address_of(1024).c_str(), &status, &data, &size));
    EXPECT_EQ(status, 0U);
    EXPECT_TRUE(holds_nothing());
}

TEST_F(HttpGetBinary, AnUntoldStatusIsZero) {
    hold_something();
    web.answer({.status = std::nullopt, .body = "x"});
    EXPECT_TRUE(get());
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(bytes(), "x");
}

TEST_F(HttpGetBinary, AMissingArgumentFails) {
    EXPECT_FALSE(http_get_binary(k_url, nullptr, &data, &size));
    EXPECT_FALSE(http_get_binary(k_url, &status, nullptr, &size));
    EXPECT_FALSE(http_get_binary(k_url, &status, &data, nullptr));
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(HttpGetBinary, AReadThatFailsGivesNothing) {
    for (const std::size_t place : {0U, 10U, 90U}) {
        hold_something();
        web.answer({.body = pattern_bytes(100), .piece = 10, .read_fails_at = place});
        EXPECT_FALSE(get());
        EXPECT_EQ(status, 200U);
        EXPECT_TRUE(holds_nothing());
    }
}

TEST_F(HttpGetBinary, AQuestionThatFailsEndsTheBody) {
    web.answer({.body = pattern_bytes(100), .piece = 10, .available_fails_at = 30});
    EXPECT_TRUE(get());
    EXPECT_EQ(bytes(), pattern_bytes(30));

    web.answer({.body = "x", .available_fails_at = 0});
    EXPECT_TRUE(get());
    EXPECT_TRUE(holds_nothing());
}

TEST_F(HttpGetBinary, AReadThatBringsNothingEndsTheBody) {
    web.answer({.body = "abc", .claims = 10});
    EXPECT_TRUE(get());
    EXPECT_EQ(bytes(), "abc");

    web.answer({.body = "", .claims = 10});
    EXPECT_TRUE(get());
    EXPECT_TRUE(holds_nothing());
}

TEST_F(HttpGetBinary, ABodyThatNoMemoryHoldsGivesNothing) {
    constexpr std::size_t k_all = std::numeric_limits<std::size_t>::max();
    for (const std::size_t claims : {k_all, k_all / 2 + 1, k_all / 2}) {
        web.answer({.body = "abc", .claims = claims});
        EXPECT_FALSE(get());
        EXPECT_TRUE(holds_nothing());
    }
}

} // namespace
