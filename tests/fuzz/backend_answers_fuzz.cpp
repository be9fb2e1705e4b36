// Answers the REST calls with any bytes and looks at what they leave behind. The input holds calls,
// set apart by byte 28: a letter that chooses the call, then its answers, set apart by byte 29,
// each with a letter for its status before its body.
#include "support/fake_clock.h"
#include "support/fake_web_exchange.h"
#include "unit/backend/hostile_answers.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

/// The piece of `rest` before the next `mark`, which is taken away.
std::string_view take(std::string_view& rest, char mark) {
    const std::size_t end = rest.find(mark);
    const std::string_view piece = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return piece;
}

FakeWebAnswer answer_of(std::string_view text) {
    FakeWebAnswer answer{.body = std::string(text.substr(text.empty() ? 0 : 1))};
    switch (text.empty() ? '-' : text[0]) {
    case '1':
        answer.status = 201;
        break;
    case '4':
        answer.status = 404;
        break;
    case '5':
        answer.status = 500;
        break;
    case 'p':
        answer.piece = 7;
        break;
    case 'b':
        answer.read_fails_at = answer.body.size() / 2;
        break;
    case 'n':
        answer.status = std::nullopt;
        break;
    case '-':
        answer.reachable = false;
        break;
    default:
        break;
    }
    return answer;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeClock clock;
    HostileServer server;
    std::string_view calls(reinterpret_cast<const char*>(data), size);
    for (int i = 0; i < 4 && !calls.empty(); ++i) {
        std::string_view answers = take(calls, '\x1C');
        const std::size_t call = answers.empty() ? 0 : static_cast<std::uint8_t>(answers[0]) - 'A';
        answers.remove_prefix(answers.empty() ? 0 : 1);
        FakeWeb web;
        while (!answers.empty()) {
            web.answer(answer_of(take(answers, '\x1D')));
        }
        if (const std::string wrong = server.run(call, web); !wrong.empty()) {
            std::fprintf(stderr, "%s\n", wrong.c_str());
            std::abort();
        }
    }
    return 0;
}
