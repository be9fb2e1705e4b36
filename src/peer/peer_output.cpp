// See peer/peer_output.h.
#include "peer/peer_output.h"

#include "platform/console.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

std::atomic<void (*)(std::string_view)> g_listener{nullptr};

void print_line(std::FILE* stream, std::string line, const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    if (length > 0) {
        const std::size_t begin = line.size();
        line.resize(begin + static_cast<std::size_t>(length) + 1);
        std::vsnprintf(line.data() + begin, line.size() - begin, format, again);
        line.pop_back();
    }
    va_end(again);
    line += '\n';
    console_write(stream, line);
    if (const auto listener = g_listener.load()) {
        listener(line);
    }
}

} // namespace

void peer_print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_line(stdout, "", format, arguments);
    va_end(arguments);
}

void peer_complain(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_line(stderr, "velmo-peer: ", format, arguments);
    va_end(arguments);
}

void peer_output_set_listener(void (*listener)(std::string_view line)) {
    g_listener = listener;
}
