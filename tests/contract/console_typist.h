// Someone at a console: types into it and sees what it shows; one implementation per system.
#pragma once

#include <string>
#include <string_view>

/// Gives this process a console of its own as standard input. False where it gets none. Once.
bool open_console();

/// Types `text`, in UTF-8, of up to 1,000 bytes; '\n' is Enter.
void type_text(std::string_view text);

/// Types what means the end of the input here, at the start of a line.
void type_end_of_input();

/// Runs `body` with standard output on the console, emptied before, and returns the line shown:
/// up to 40 characters in UTF-8.
std::string line_shown_by(void (*body)());
