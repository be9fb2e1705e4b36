// The chat of a scope, "room" or "space" and its identifier: its history from the backend, and
// sending, over the chat channel first. Each call blocks, and on failure returns false with a
// sentence for the user in `error`, cut to its size less one; a page that came, and that nobody
// shows, leaves `error` as it was. Main thread.
#pragma once

#include <span>

/// What shows a page of history: the backend's answer, whether it goes on top of what is shown, and
/// the chat's title, null to leave it. Its result is the load's.
using ChatHistoryApplier = bool (*)(const char* payload, bool prepend, bool set_title,
                                    const char* title);
void Chat_SetHistoryApplier(ChatHistoryApplier applier);

/// Loads the newest page, or with a cursor in `before` an older one, of a room only: a space has
/// one page.
bool backend_load_scope_chat_page(const char* scope_type, const char* scope_id, const char* title,
                                  const char* before, bool prepend, bool set_title,
                                  std::span<char> error);

/// The newest page, under `title`.
bool backend_load_scope_chat(const char* scope_type, const char* scope_id, const char* title,
                             std::span<char> error);

/// A room's message that the channel does not take goes to the backend instead; a space's does not.
bool backend_send_scope_chat_message(const char* scope_type, const char* scope_id, const char* text,
                                     std::span<char> error);
