// See peer/peer_output.h.
#include "peer/peer_output.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

void print_line(std::FILE* stream, const char* prefix, const char* format, va_list arguments) {
    std::fputs(prefix, stream);
    std::vfprintf(stream, format, arguments);
    std::fputc('\n', stream);
    std::fflush(stream);
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

std::string printable(std::string_view text) {
    std::string result(text);
    std::replace_if(
        result.begin(), result.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
    return result;
}
