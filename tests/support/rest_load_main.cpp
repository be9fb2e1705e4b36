// Loads a running REST service: many clients sign in and list their spaces for some seconds. Prints
// what they met; status 1 when anything went wrong. Run by hand and by the tests:
//
//     velmo-rest-load PORT CLIENTS SECONDS [SERVICE-PROCESS]
//
// With the service's process id it also watches its memory.
#include "support/rest_client.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* k_password = "Correct-Horse-1";
constexpr std::chrono::seconds k_login_every{30}; // a password costs the service a lot on purpose
constexpr int k_samples = 8;                      // of the memory, over the run

struct Results {
    std::mutex mutex; // guards the vectors
    std::vector<double> login_ms;
    std::vector<double> list_ms;
    std::atomic<long> errors{0};
    std::atomic<int> ready{0};
};

double milliseconds_since(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

std::string credentials(int client) {
    return R"({"email":"load)" + std::to_string(client) + R"(@example.org","password":")" +
           k_password + "\"}";
}

void complain(Results& results, const char* what, const RestClientReply& reply) {
    if (results.errors++ < 5) {
        std::fprintf(stderr, "%s: status %d %s\n", what, reply.status, reply.body.c_str());
    }
}

// One client: an account with a space, then signing in and listing again and again.
void run_client(int number, std::uint16_t port, int clients, Clock::duration time,
                Results& results) {
    RestClient client(port);
    std::vector<double> logins;
    std::vector<double> lists;
    const RestClientReply signup = client.post("/api/auth/signup", credentials(number));
    if (signup.status == 201) {
        const RestClientReply space =
            client.post("/api/spaces", R"({"sessionToken":")" + signup.field("sessionToken") +
                                           R"(","name":"Carga"})");
        if (space.status != 201) {
            complain(results, "create space", space);
        }
    } else if (signup.status != 409) { // there from the run before
        complain(results, "sign up", signup);
    }
    ++results.ready;
    while (results.ready < clients) {
        std::this_thread::yield();
    }
    const Clock::time_point end = Clock::now() + time;
    while (Clock::now() < end) {
        Clock::time_point begin = Clock::now();
        const RestClientReply login = client.post("/api/auth/login", credentials(number));
        logins.push_back(milliseconds_since(begin));
        if (login.status != 200) {
            complain(results, "log in", login);
            continue;
        }
        const std::string target = "/api/spaces?sessionToken=" + login.field("sessionToken");
        const Clock::time_point next_login = Clock::now() + k_login_every;
        while (Clock::now() < std::min(next_login, end)) {
            begin = Clock::now();
            const RestClientReply list = client.get(target);
            lists.push_back(milliseconds_since(begin));
            if (list.status != 200 || list.field("name") != "Carga") {
                complain(results, "list spaces", list);
            }
        }
    }
    const std::lock_guard lock(results.mutex);
    results.login_ms.insert(results.login_ms.end(), logins.begin(), logins.end());
    results.list_ms.insert(results.list_ms.end(), lists.begin(), lists.end());
}

long resident_kilobytes(const std::string& process) {
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::atol(line.c_str() + 6);
        }
    }
    return 0;
}

void print_times(const char* what, std::vector<double>& times) {
    if (times.empty()) {
        std::printf("%s: none\n", what);
        return;
    }
    std::sort(times.begin(), times.end());
    const auto at = [&](double part) {
        return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
    };
    std::printf("%s: %zu, median %.1f ms, 99%% %.1f ms, longest %.1f ms\n", what, times.size(),
                at(0.5), at(0.99), at(1));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: velmo-rest-load PORT CLIENTS SECONDS [SERVICE-PROCESS]\n");
        return 2;
    }
    const auto port = static_cast<std::uint16_t>(std::atoi(argv[1]));
    const int count = std::clamp(std::atoi(argv[2]), 1, 500);
    const int seconds = std::clamp(std::atoi(argv[3]), 1, 600);
    const std::string process = argc > 4 ? argv[4] : "";

    Results results;
    std::vector<std::thread> clients;
    for (int i = 0; i < count; ++i) {
        clients.emplace_back(run_client, i, port, count, std::chrono::seconds(seconds),
                             std::ref(results));
    }
    std::vector<long> memory;
    while (results.ready < count) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    for (int i = 0; i < k_samples && !process.empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(seconds * 1000 / (k_samples + 1)));
        memory.push_back(resident_kilobytes(process));
    }
    for (std::thread& client : clients) {
        client.join();
    }
    print_times("logins", results.login_ms);
    print_times("lists", results.list_ms);
    if (!process.empty()) {
        std::printf("memory:");
        for (const long kilobytes : memory) {
            std::printf(" %.1f", static_cast<double>(kilobytes) / 1024);
        }
        std::printf(" MB, at the end %.1f MB\n",
                    static_cast<double>(resident_kilobytes(process)) / 1024);
    }
    std::printf("%d clients, %d seconds, %ld errors\n", count, seconds, results.errors.load());
    return results.errors == 0 && !results.list_ms.empty() ? 0 : 1;
}
