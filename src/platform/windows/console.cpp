// The console seam on Windows: arguments and typed text come as wide characters, what is written
// goes through the console's code page.
#include "platform/console.h"

#include "platform/windows/wide_text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <utility>

#include <shellapi.h>

namespace {

// The code page that the console had; 0 while there is nothing to restore.
std::atomic<UINT> g_former_code_page{0};

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

void console_begin_utf8() {
    const UINT former = GetConsoleOutputCP();
    if (former != 0 && former != CP_UTF8 && SetConsoleOutputCP(CP_UTF8) != 0) {
        g_former_code_page = former;
    }
}

void console_end_utf8() {
    if (const UINT former = g_former_code_page.exchange(0)) {
        SetConsoleOutputCP(former);
    }
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
