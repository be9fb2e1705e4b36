// The two small files of the user's own folder: the settings and the signed-in session, as lines of
// key=value. Called by the shell, the sign-in and the settings. Main thread.
//
// A save writes beside the old file and replaces it when all of it is on disk: whatever interrupts
// it, one of the two is there whole. A value ends at its first line break, and where its line would
// become longer than one that is read at once.
#pragma once

#include <span>

/// Makes the folder and builds the file's path, in UTF-8. False when the system names no folder or
/// the path does not fit into 511 bytes or into `out`, which is then empty.
bool get_settings_file_path(std::span<char> out);
bool get_session_file_path(std::span<char> out);

/// Writes g_language and g_display_name; a file that cannot be written is skipped silently.
void save_local_settings();

/// Reads them; without a file both stay as they are.
void load_local_settings();

/// False, and nothing written, for a null argument or an empty token; false when the file cannot be
/// written.
bool save_local_session(const char* backend_url, const char* username, const char* token);

/// Fills the three texts, emptied first and cut to their buffers less one byte. True when there are
/// a backend address and a token.
bool load_local_session(std::span<char> backend_url, std::span<char> username,
                        std::span<char> token);

/// Deletes the session file; errors are ignored.
void clear_local_session();
