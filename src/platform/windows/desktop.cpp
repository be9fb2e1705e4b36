// The desktop seam on Windows: debug output, for the log in every module, and the user's folder.
#include "platform/desktop.h"

#include "platform/windows/wide_text.h"

void desktop_debug_output(const char* text) {
    OutputDebugStringA(text);
}

std::string desktop_user_data_folder() {
    return utf8_of(wide_text_from([](wchar_t* buffer, DWORD size) {
        return GetEnvironmentVariableW(L"APPDATA", buffer, size);
    }));
}
