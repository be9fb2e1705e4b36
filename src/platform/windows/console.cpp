// The console seam on Windows, where arguments and a console's text are wide characters.
#include "platform/console.h"

#include "platform/windows/wide_text.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <memory>
#include <utility>

#include <shellapi.h>

namespace {

// The first half of a character that the last read cut in two. The reader's own.
wchar_t g_high_half = 0;

bool is_high_half(wchar_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

// What Ctrl-Z and Enter at the start of a line mean.
constexpr wchar_t k_end_of_input = 0x1A;

std::size_t read_typed(HANDLE console, std::span<char> bytes) {
    // No wide character takes more than three bytes.
    std::array<wchar_t, 512> units{};
    const std::size_t most = std::min(units.size(), bytes.size() / 3);
    std::size_t begun = 0;
    if (g_high_half != 0) {
        units[begun++] = std::exchange(g_high_half, wchar_t{0});
    }
    DWORD count = 0;
    if (ReadConsoleW(console, units.data() + begun, static_cast<DWORD>(most - begun), &count,
                     nullptr) == 0 ||
        count == 0 || units[begun] == k_end_of_input) {
        return 0;
    }
    std::size_t length = begun + count;
    if (length > 1 && is_high_half(units[length - 1])) {
        g_high_half = units[--length];
    }
    const std::string text = utf8_of({units.data(), length});
    std::copy(text.begin(), text.end(), bytes.begin());
    return text.size();
}

// The C library would take every byte for a character.
void write_shown(HANDLE console, std::wstring_view text) {
    constexpr std::size_t k_piece = 8192; // a console takes no more than 64 kB at once
    while (!text.empty()) {
        const std::size_t least = std::min(text.size(), k_piece);
        const bool is_cut = least < text.size() && is_high_half(text[least - 1]);
        const std::size_t length = is_cut ? least - 1 : least;
        DWORD written = 0;
        if (WriteConsoleW(console, text.data(), static_cast<DWORD>(length), &written, nullptr) ==
                0 ||
            written == 0) {
            return;
        }
        text.remove_prefix(std::min<std::size_t>(written, length));
    }
}

} // namespace

std::vector<std::string> console_arguments(int argc, char** argv) {
    int count = 0;
    const std::unique_ptr<LPWSTR, void (*)(LPWSTR*)> wide(
        CommandLineToArgvW(GetCommandLineW(), &count), [](LPWSTR* list) { LocalFree(list); });
    std::vector<std::string> arguments;
    if (!wide) {
        arguments.assign(argv + std::min(argc, 1), argv + argc);
        return arguments;
    }
    for (int i = 1; i < count; ++i) {
        arguments.push_back(utf8_of(wide.get()[i]));
    }
    return arguments;
}

void console_write(std::FILE* stream, std::string_view text) {
    const HANDLE output = GetStdHandle(stream == stderr ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    const std::optional<std::wstring> wide =
        GetConsoleMode(output, &mode) != 0 ? wide_of(text) : std::nullopt;
    if (wide) {
        write_shown(output, *wide);
        return;
    }
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

std::size_t console_read(std::span<char> bytes) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(input, &mode) != 0) {
        return read_typed(input, bytes);
    }
    DWORD count = 0;
    // A pipe whose writer is gone fails, which is its end.
    return ReadFile(input, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) != 0
               ? count
               : 0;
}

bool console_input_is_terminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

std::vector<int> console_end_signals() {
    return {SIGINT, SIGTERM, SIGBREAK};
}
