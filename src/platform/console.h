// Seam: the console around a command-line program, in UTF-8 on every system. Called by velmo-peer.
#pragma once

#include <cstddef>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The program's arguments without its own name. `argc` and `argv` are main's; Windows has them in
/// no more than its code page there and is asked again.
std::vector<std::string> console_arguments(int argc, char** argv);

/// Writes `text` to `stream`, standard output or error, as one piece and at once. A console shows
/// it as UTF-8, whatever its code page. Any thread.
void console_write(std::FILE* stream, std::string_view text);

/// Waits for something on standard input and copies it into `bytes`, of at least 16; a character
/// that does not fit goes on in the next reading. Returns how much, 0 at the input's end and on
/// failure. Always the same thread: it is not stopped while a shell keeps the program in the
/// background, and reads on when that has brought it to the front.
///
/// Below the C library's streams: at the end of the program those wait for a reader that still
/// holds one.
std::size_t console_read(std::span<char> bytes);

/// Whether standard input is a terminal or a console, where a person types.
bool console_input_is_terminal();

/// The signals that ask a program to end. The end of its terminal is not among them when whoever
/// started the program lets it ignore that one, as nohup does. The others always are, for shells
/// let everything that a script starts in the background ignore Ctrl-C, and yet whoever sends it to
/// such a program means it. Main thread.
///
/// On Windows, closing the console's window ends the program wherever it stands, whatever the
/// handler of a signal does: the system waits for no more than the handler's return.
std::vector<int> console_end_signals();
