// See fake_journal.h.
#include "unit/core/fake_journal.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

std::mutex g_mutex;
std::vector<std::string> g_lines;
std::string g_look_prefix;
std::function<void()> g_look;
std::atomic<bool> g_paused{false};

} // namespace

void journal(const char* format, ...) {
    if (g_paused.load()) {
        return;
    }
    char line[8192];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    std::function<void()> look;
    {
        const std::lock_guard lock(g_mutex);
        g_lines.emplace_back(line);
        if (g_lines.back().starts_with(g_look_prefix)) {
            look = g_look;
        }
    }
    if (look) {
        look();
    }
}

void journal_reset() {
    const std::lock_guard lock(g_mutex);
    g_lines.clear();
    g_look = nullptr;
    g_paused.store(false);
}

void journal_pause() {
    g_paused.store(true);
}

void journal_look_at(const std::string& prefix, std::function<void()> look) {
    const std::lock_guard lock(g_mutex);
    g_look_prefix = prefix;
    g_look = std::move(look);
}

std::vector<std::string> journal_lines() {
    return journal_lines("");
}

std::vector<std::string> journal_lines(const std::string& prefix) {
    const std::lock_guard lock(g_mutex);
    std::vector<std::string> chosen;
    for (const std::string& line : g_lines) {
        if (line.starts_with(prefix)) {
            chosen.push_back(line);
        }
    }
    return chosen;
}
