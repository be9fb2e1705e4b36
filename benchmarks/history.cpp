// How long a page of 100 messages takes in the hub's chat: in place of what is shown, and on top of
// it. Called by ./bench.
#include "interface.h"

#include "ui/hub/hub_chat_internal.h"

#include <algorithm>
#include <string>

namespace {

constexpr double k_bar_ms = 16.7; // one frame
constexpr int k_tries = 9;
constexpr int k_rows = 100;

std::string page() {
    std::string text = R"({"hasMore":true,"nextBefore":"c","messages":[)";
    for (int i = 0; i < k_rows; ++i) {
        text += i > 0 ? "," : "";
        text += R"({"senderDisplayName":"Ana María","text":"mensaje )" + std::to_string(i) +
                R"( con un texto de una o dos líneas, como los que se escriben de verdad aquí",)"
                R"("createdAt":"2024-05-01T10:20:30.000Z"})";
    }
    return text + "]}";
}

std::vector<ChangeTimes> time_pages(const std::string& payload, bool prepend) {
    std::vector<ChangeTimes> times;
    for (int i = 0; i < k_tries; ++i) {
        clear_hub_chat_list();
        apply_chat_history_payload(payload.c_str(), false, false, nullptr);
        time_change([] {});
        times.push_back(time_change(
            [&] { apply_chat_history_payload(payload.c_str(), prepend, false, nullptr); }));
    }
    return times;
}

} // namespace

int main() {
    double slowest = 0.0;
    const int status = run_hub([&slowest] {
        const std::string payload = page();
        slowest = std::max(print_median("100 messages anew", time_pages(payload, false)),
                           print_median("100 messages on top", time_pages(payload, true)));
    });
    return status != 0 ? status : judge("history", slowest, k_bar_ms);
}
