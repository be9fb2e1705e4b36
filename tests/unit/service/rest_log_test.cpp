// What --verbose prints of a request.
#include "service/rest/request_log.h"

#include <gtest/gtest.h>

namespace {

std::string line(std::string method, std::string path, std::string query = "") {
    RestRequest request;
    request.method = std::move(method);
    request.path = std::move(path);
    request.query = std::move(query);
    return request_log_line(request, 200);
}

TEST(RequestLog, NamesMethodPathAndStatus) {
    EXPECT_EQ(line("GET", "/api/spaces/0123456789abcdefghij/rooms"),
              "rest: GET /api/spaces/0123456789abcdefghij/rooms 200");
    EXPECT_EQ(line("POST", "/"), "rest: POST / 200");
}

TEST(RequestLog, TellsNoQueryAndNoSecret) {
    EXPECT_EQ(line("GET", "/api/spaces", "sessionToken=x"), "rest: GET /api/spaces 200");
    const std::string secret(32, 'a');
    EXPECT_EQ(line("GET", "/auth/google/" + secret), "rest: GET /auth/google/... 200");
    EXPECT_EQ(line("GET", secret + "/" + secret + "/"), "rest: GET .../.../ 200");
}

TEST(RequestLog, PrintsNothingThatATerminalObeys) {
    EXPECT_EQ(line("G\x1b[31mT", "/a\r\n b\x80\x9b"), "rest: G?[31mT /a???b?? 200");
    EXPECT_EQ(line("GET", "/" + std::string(9000, '/')).size(), 10U + 200 + 4);
}

} // namespace
