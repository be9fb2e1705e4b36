// Seam: the desktop around the program. Plain functions, one implementation per system.
//
// Two libraries: the browser apart from the rest, so that programs without one need no GLib.
#pragma once

#include <string>

/// Sends `text` (NUL-terminated, without adding a line break) to the debugger's output. On Linux,
/// which has no such channel, to standard error, and only when VELMO_DEBUG is set. Any thread;
/// never fails.
void desktop_debug_output(const char* text);

/// The folder of the user's application data, in UTF-8 (on Linux in whatever bytes it has): APPDATA
/// on Windows; on Linux the XDG configuration folder, which is made when it is missing. Asked anew
/// every time. Empty when the system names none. Main thread.
std::string desktop_user_data_folder();

/// Opens a web address in the user's browser, without waiting for it. False when the system knows
/// no way, and for anything but an address of http or https in the characters of one: what comes
/// from a server must open no file and start no program. Main thread.
bool desktop_open_address(const char* address);
