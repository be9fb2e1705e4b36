// The desktop seam on Windows. Called by the debug log in every module.
#include "platform/desktop.h"

#include <windows.h>

void desktop_debug_output(const char* text) {
    OutputDebugStringA(text);
}
