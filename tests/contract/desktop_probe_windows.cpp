// See desktop_probe.h. Windows hands debug output to a debugger as an exception, which an exception
// handler of the program itself sees first.
#include "contract/desktop_probe.h"

#include <windows.h>

namespace {

std::string g_output;

LONG CALLBACK take_debug_output(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode == DBG_PRINTEXCEPTION_C && record.NumberParameters >= 2) {
        g_output += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

std::string debug_output_of(void (*body)()) {
    g_output.clear();
    void* handler = AddVectoredExceptionHandler(1, take_debug_output);
    body();
    RemoveVectoredExceptionHandler(handler);
    return g_output;
}

bool debug_output_is_on_demand() {
    return false;
}
