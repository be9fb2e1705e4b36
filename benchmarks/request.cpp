// How long one GET of the client takes: the whole of http_get, connection and all, over and over.
// Called by ./bench, which runs the service and sets curl's own figure beside it.
#include "backend/http_transport.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

// What the client gives the list of spaces.
constexpr std::size_t k_body_size = 16384;

double request_ms(const char* url, bool& answered) {
    static char body[k_body_size];
    std::uint32_t status = 0;
    const auto start = std::chrono::steady_clock::now();
    const bool arrived = http_get(url, &status, body);
    const auto end = std::chrono::steady_clock::now();
    answered = arrived && status == 200;
    return Milliseconds(end - start).count();
}

} // namespace

// bench_request URL COUNT: prints the median in milliseconds.
int main(int argc, char** argv) {
    const long count = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (count < 1) {
        std::fputs("usage: bench_request URL COUNT\n", stderr);
        return 2;
    }
    std::vector<double> times;
    for (long i = 0; i < count; ++i) {
        bool answered = false;
        times.push_back(request_ms(argv[1], answered));
        if (!answered) {
            std::fprintf(stderr, "bench_request: request %ld of %ld was not answered with 200\n",
                         i + 1, count);
            return 1;
        }
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    std::printf("%.3f\n", *middle);
    return 0;
}
