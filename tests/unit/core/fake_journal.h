// What the fakes of the core's neighbours were called with, in the order of the calls. Used by
// every fake of this folder and by the tests, from any thread.
#pragma once

#include "base/printf_format.h"

#include <functional>
#include <string>
#include <vector>

/// Adds one line; while the journal is paused, nothing (and nothing is allocated).
VELMO_PRINTF(1, 2) void journal(const char* format, ...);

/// Forgets all lines and what looks at them, and ends a pause.
void journal_reset();
void journal_pause();

/// Runs `look` inside every later call whose line begins with `prefix`, to see what the rest
/// of the program is like at that moment. Replaces the look before it.
void journal_look_at(const std::string& prefix, std::function<void()> look);

/// All lines so far.
std::vector<std::string> journal_lines();

/// The lines that begin with `prefix`, as when only one neighbour matters.
std::vector<std::string> journal_lines(const std::string& prefix);
