// See desktop_probe.h. On Linux debug output is standard error.
#include "contract/desktop_probe.h"

#include <gtest/gtest.h>

std::string debug_output_of(void (*body)()) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

bool debug_output_is_on_demand() {
    return true;
}
