// See console_typist.h. The console is the system's own, and its keys are put into its queue.
#include "contract/console_typist.h"

#include "platform/windows/wide_text.h"

#include <array>
#include <cstdlib>

namespace {

// The console's own, for as long as the process runs.
HANDLE g_input = nullptr;
HANDLE g_screen = nullptr;

HANDLE open_end(const wchar_t* name) {
    return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       nullptr, OPEN_EXISTING, 0, nullptr);
}

} // namespace

bool open_console() {
    FreeConsole();
    if (AllocConsole() == 0) {
        return false;
    }
    g_input = open_end(L"CONIN$");
    g_screen = open_end(L"CONOUT$");
    DWORD mode = 0;
    return GetConsoleMode(g_input, &mode) != 0 && GetConsoleMode(g_screen, &mode) != 0 &&
           SetStdHandle(STD_INPUT_HANDLE, g_input) != 0;
}

void type_text(std::string_view text) {
    for (const wchar_t unit : wide_of(text).value_or(L"")) {
        std::array<INPUT_RECORD, 2> records{};
        for (INPUT_RECORD& record : records) {
            const bool is_down = &record == records.data();
            record.EventType = KEY_EVENT;
            KEY_EVENT_RECORD& key = record.Event.KeyEvent;
            key.bKeyDown = is_down ? TRUE : FALSE;
            key.wRepeatCount = 1;
            key.uChar.UnicodeChar = unit == L'\n' ? L'\r' : unit;
            key.wVirtualKeyCode = unit == L'\n' ? VK_RETURN : 0;
        }
        DWORD count = 0;
        if (WriteConsoleInputW(g_input, records.data(), 2, &count) == 0) {
            std::abort();
        }
    }
}

void type_end_of_input() {
    type_text("\x1A\n");
}

std::string line_shown_by(void (*body)()) {
    constexpr COORD k_start{0, 0};
    DWORD count = 0;
    FillConsoleOutputCharacterW(g_screen, L' ', 40, k_start, &count);
    SetConsoleCursorPosition(g_screen, k_start);
    const HANDLE before = GetStdHandle(STD_OUTPUT_HANDLE);
    SetStdHandle(STD_OUTPUT_HANDLE, g_screen);
    body();
    SetStdHandle(STD_OUTPUT_HANDLE, before);
    std::array<wchar_t, 40> units{};
    ReadConsoleOutputCharacterW(g_screen, units.data(), 40, k_start, &count);
    std::wstring line(units.data(), count);
    line.resize(line.find_last_not_of(L' ') + 1);
    return utf8_of(line);
}
