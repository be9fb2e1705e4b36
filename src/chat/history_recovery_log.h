// The recovery log of chat history: what the channel answered, kept raw beside the program. Called
// by the hub's chat.
#pragma once

/// Appends one entry to "chat_history_recovery.log" in the working folder; nothing when the file
/// cannot be opened. Main thread.
void append_chat_history_raw_log(const char* room_id, bool prepend, bool applied,
                                 const char* payload);
