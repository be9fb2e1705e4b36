// velmo-lossy-relay: a bad network for the terminal, between voice clients and a voice server.
#include "platform/udp_socket.h"
#include "support/lossy_relay.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr char k_help[] =
    "Usage: velmo-lossy-relay --to HOST:PORT [OPTION...]\n"
    "Relays UDP between clients and the server at HOST:PORT as a bad network would.\n"
    "Runs until Ctrl-C, then prints what became of the datagrams.\n"
    "\n"
    "  --listen PORT        where clients connect, on 127.0.0.1 (0, the default: any free port)\n"
    "  --to HOST:PORT       the server\n"
    "  --loss PERCENT       datagrams lost\n"
    "  --spare N            but none of the first N of a client, each way (0)\n"
    "  --duplicate PERCENT  datagrams doubled\n"
    "  --reorder PERCENT    datagrams overtaken by those behind them\n"
    "  --delay MS           delay of every datagram, each way\n"
    "  --jitter MS          0 to MS more, at random\n"
    "  --seed N             another N, other dice (1)\n"
    "  --cut AT:FOR         cut the line AT seconds after the start FOR seconds; repeatable\n"
    "  --help               print this\n";

struct Cut {
    double at = 0;
    double length = 0;
};

struct Options {
    LossyRelayOptions relay;
    std::string server_host;
    std::vector<Cut> cuts;
};

std::atomic<bool> g_ended = false;

template <typename Number>
bool read_number(std::string_view text, Number low, Number high, Number& number) {
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() && end == text.data() + text.size() && number >= low &&
           number <= high;
}

bool read_server(std::string_view text, Options& options) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || colon == 0) {
        return false;
    }
    options.server_host = text.substr(0, colon);
    return read_number<std::uint16_t>(text.substr(colon + 1), 1, 65535, options.relay.server.port);
}

bool read_cut(std::string_view text, Options& options) {
    constexpr double k_long = 1e6;
    const std::size_t colon = text.find(':');
    Cut cut;
    if (colon == std::string_view::npos ||
        !read_number(text.substr(0, colon), 0.0, k_long, cut.at) ||
        !read_number(text.substr(colon + 1), 0.0, k_long, cut.length)) {
        return false;
    }
    options.cuts.push_back(cut);
    return true;
}

// One option with its value. False for an unknown option or a value that is none.
bool read_option(std::string_view name, std::string_view value, Options& options) {
    constexpr std::uint32_t k_longest_ms = 60'000;
    LossyLineOptions& line = options.relay.line;
    if (name == "--listen") {
        return read_number<std::uint16_t>(value, 0, 65535, options.relay.listen.port);
    }
    if (name == "--to") {
        return read_server(value, options);
    }
    if (name == "--loss") {
        return read_number(value, 0.0, 100.0, line.loss_percent);
    }
    if (name == "--spare") {
        return read_number<std::uint64_t>(value, 0, UINT64_MAX, line.spared);
    }
    if (name == "--duplicate") {
        return read_number(value, 0.0, 100.0, line.duplicate_percent);
    }
    if (name == "--reorder") {
        return read_number(value, 0.0, 100.0, line.reorder_percent);
    }
    if (name == "--delay") {
        return read_number<std::uint32_t>(value, 0, k_longest_ms, line.delay_ms);
    }
    if (name == "--jitter") {
        return read_number<std::uint32_t>(value, 0, k_longest_ms, line.jitter_ms);
    }
    if (name == "--seed") {
        return read_number<std::uint64_t>(value, 0, UINT64_MAX, line.seed);
    }
    return name == "--cut" && read_cut(value, options);
}

bool is_cut(const std::vector<Cut>& cuts, double seconds) {
    return std::ranges::any_of(
        cuts, [=](const Cut& cut) { return seconds >= cut.at && seconds < cut.at + cut.length; });
}

void relay_until_ended(LossyRelay& relay, const std::vector<Cut>& cuts) {
    const auto start = std::chrono::steady_clock::now();
    while (!g_ended) {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        relay.set_cut(is_cut(cuts, passed.count()));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void print_counts(const char* direction, const LossyLineCounts& counts) {
    std::printf("lossy relay: %s: %llu sent, %llu lost, %llu doubled, %llu overtaken\n", direction,
                static_cast<unsigned long long>(counts.sent),
                static_cast<unsigned long long>(counts.lost),
                static_cast<unsigned long long>(counts.doubled),
                static_cast<unsigned long long>(counts.overtaken));
}

int run(const Options& options) {
    LossyRelay relay;
    std::string error;
    if (!relay.start(options.relay, error)) {
        std::fprintf(stderr, "velmo-lossy-relay: %s\n", error.c_str());
        return 1;
    }
    std::printf("lossy relay: 127.0.0.1:%u to %s:%u\n", unsigned{relay.address().port},
                options.server_host.c_str(), unsigned{options.relay.server.port});
    std::fflush(stdout);
    std::signal(SIGINT, [](int) { g_ended = true; });
    std::signal(SIGTERM, [](int) { g_ended = true; });
    relay_until_ended(relay, options.cuts);
    relay.stop();
    const LossyRelayCounts counts = relay.counts();
    print_counts("to the server", counts.to_server);
    print_counts("to the clients", counts.to_clients);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--help") {
            std::printf("%s", k_help);
            return 0;
        }
        const std::string_view value = i + 1 < argc ? argv[++i] : "";
        if (!read_option(name, value, options)) {
            std::fprintf(stderr, "velmo-lossy-relay: cannot use %s %s (--help tells the options)\n",
                         std::string(name).c_str(), std::string(value).c_str());
            return 1;
        }
    }
    if (options.server_host.empty()) {
        std::fprintf(stderr, "velmo-lossy-relay: --to HOST:PORT is missing\n");
        return 1;
    }
    if (udp_system_start() != 0 ||
        udp_resolve(options.server_host.c_str(), options.relay.server.port, options.relay.server) !=
            0) {
        std::fprintf(stderr, "velmo-lossy-relay: unknown host %s\n", options.server_host.c_str());
        return 1;
    }
    const int status = run(options);
    udp_system_stop();
    return status;
}
