// Spaces, members, invitations and rooms on the backend. Each call blocks for its requests, signs
// them with g_session_token, fills the hub's tables, and on failure returns false with a sentence
// for the user in `error`, cut to its size less one. A failed load leaves its table as it was. Main
// thread.
#pragma once

#include <span>

/// Called after a table was rebuilt, so that whoever shows it draws it anew. A new callback
/// replaces the old one. They are kept beside the tables, in spaces_tables.cpp.
using TableLoadedCallback = void (*)();
void Backend_SetSpacesLoadedCallback(TableLoadedCallback callback);
void Backend_SetRoomsLoadedCallback(TableLoadedCallback callback);
void Backend_SetMembersLoadedCallback(TableLoadedCallback callback);

bool backend_load_spaces(std::span<char> error);

/// The image is base64 text with its MIME type; both null or empty for none. Reloads the spaces.
bool backend_create_space(const char* name, const char* image_base64, const char* mime_type,
                          std::span<char> error);

/// Reloads the spaces, selects the one joined and loads its rooms.
bool backend_join_space_by_code(const char* code, std::span<char> error);

bool backend_create_space_invitation(const char* space_id, const char* email,
                                     std::span<char> error);
bool backend_accept_space_invitation(const char* invitation_id, std::span<char> error);
bool backend_decline_space_invitation(const char* invitation_id, std::span<char> error);

bool backend_load_space_members(const char* space_id, std::span<char> error);

bool backend_load_rooms(const char* space_id, std::span<char> error);
bool backend_create_room(const char* space_id, const char* name, std::span<char> error);

/// `confirm_name` is what the user typed to confirm.
bool backend_delete_room(const char* space_id, const char* room_id, const char* confirm_name,
                         std::span<char> error);
