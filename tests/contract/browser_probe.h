// A browser for the test alone, known to this process's system; one implementation per system.
#pragma once

#include <string>

/// Makes this test program, started with "--browser WHAT ADDRESS" in the folder where it is now,
/// the browser of the addresses of this process. WHAT is one word. False when it cannot.
bool install_browser(const std::string& what);

/// Leaves this process without any browser.
bool install_no_browser();

/// Sends everything that a browser could to end whoever started it, and survives that itself.
void strike_at_starter();

/// Puts this process where a strike at it hits no test runner.
void stand_alone();
