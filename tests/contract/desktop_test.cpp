// The real desktop seam: where debug output goes. Runs without and with VELMO_DEBUG.
#include "contract/desktop_probe.h"
#include "core/debug_log.h"
#include "platform/desktop.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>

namespace {

bool output_is_wanted() {
    return !debug_output_is_on_demand() || std::getenv("VELMO_DEBUG") != nullptr;
}

std::string if_wanted(const char* text) {
    return output_is_wanted() ? text : "";
}

TEST(DesktopDebugOutput, SendsTheTextWithoutALineBreakOfItsOwn) {
    EXPECT_EQ(debug_output_of([] {
                  desktop_debug_output("one");
                  desktop_debug_output(" two\n");
              }),
              if_wanted("one two\n"));
}

TEST(DesktopDebugOutput, TakesPercentSignsAsTheyStand) {
    EXPECT_EQ(debug_output_of([] { desktop_debug_output("100%s%n"); }), if_wanted("100%s%n"));
}

TEST(DesktopDebugOutput, MayBeSentFromAnyThread) {
    EXPECT_EQ(debug_output_of([] { std::thread([] { desktop_debug_output("worker"); }).join(); }),
              if_wanted("worker"));
}

TEST(DesktopDebugOutput, CarriesTheDebugLogsLines) {
    EXPECT_EQ(debug_output_of([] { DebugLog("line %d", 1); }), if_wanted("line 1\n"));
}

} // namespace
