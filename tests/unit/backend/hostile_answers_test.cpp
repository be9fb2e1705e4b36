// Whatever a server answers: the tables stay within their bounds, every text ends within its
// buffer, every request is one that a server can read.
#include "unit/backend/hostile_answers.h"

#include "support/fake_clock.h"
#include "support/fake_web_exchange.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

class HostileAnswers : public testing::TestWithParam<std::uint32_t> {};

constexpr const char* k_pieces[] = {"{",
                                    "}",
                                    "[",
                                    "]",
                                    "\"",
                                    "\\",
                                    ",",
                                    ":",
                                    "\"id\":\"",
                                    "\"_id\":\"",
                                    "\"name\":\"",
                                    "\"username\":\"",
                                    "\"sessionToken\":\"",
                                    "\"error\":\"",
                                    "\"status\":\"completed\"",
                                    "\"authUrl\":\"https://a\"",
                                    "\"authRequestId\":\"",
                                    "\"hasImage\":true",
                                    "\"adminUserId\":\"me\"",
                                    "{\"id\":\"",
                                    "\",\"name\":\"",
                                    "\"},",
                                    "\\\"",
                                    "\n",
                                    "\xE2\x82",
                                    "\xFF",
                                    "a",
                                    "ñ"};

/// Mostly what the readers look for, in any order, sometimes long, sometimes any bytes.
std::string random_answer(std::mt19937& random) {
    const auto below = [&random](std::size_t bound) { return random() % bound; };
    std::string text;
    const std::size_t length = below(8) == 0 ? 60'000 : below(3000);
    const bool any_bytes = below(4) == 0;
    while (text.size() < length) {
        if (any_bytes) {
            text += static_cast<char>(random());
        } else if (below(40) == 0) {
            text.append(below(700), 'x');
        } else {
            text += k_pieces[below(std::size(k_pieces))];
        }
    }
    return text;
}

TEST_P(HostileAnswers, AreBorne) {
    std::mt19937 random(GetParam());
    constexpr std::uint32_t k_codes[] = {200, 200, 200, 201, 201, 404, 500};
    FakeClock clock;
    HostileServer server;
    for (int round = 0; round < 60; ++round) {
        for (std::size_t call = 0; call < k_hostile_calls; ++call) {
            FakeWeb web;
            for (int i = 0; i < 4; ++i) {
                web.answer({.status = k_codes[random() % std::size(k_codes)],
                            .body = random_answer(random),
                            .reachable = random() % 16 != 0,
                            .piece = 1 + random() % 2000});
            }
            ASSERT_EQ(server.run(call, web), "") << "call " << call << ", round " << round;
        }
    }
}

TEST_P(HostileAnswers, CutAnywhereAreBorne) {
    const std::string answer =
        R"({"id":"a\"b","spaces":[{"id":"1","name":"A","hasImage":true,"x":[{"y":"}]"}]},)"
        R"({"id":"2","name":"B","username":"u","email":"e"}],"sessionToken":"t","error":"no"})";
    FakeClock clock;
    HostileServer server;
    for (std::size_t length = 0; length <= answer.size(); ++length) {
        for (std::size_t call = 0; call < k_hostile_calls; ++call) {
            FakeWeb web;
            web.answer_always(
                {.status = GetParam() % 2 == 0 ? 200U : 201U, .body = answer.substr(0, length)});
            ASSERT_EQ(server.run(call, web), "") << "call " << call << ", length " << length;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, HostileAnswers, testing::Range(1U, 9U));

} // namespace
