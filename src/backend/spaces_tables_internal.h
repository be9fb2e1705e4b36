// Turns the backend's lists into the hub's tables and tells whoever shows them. For the spaces API.
#pragma once

/// The first 32 spaces of `answer` become the table; nothing is selected then, no chat shown.
void rebuild_spaces_table(const char* answer);

/// The first 32 rooms of `answer`, which are the space's, become the table; none is selected then.
void rebuild_rooms_table(const char* answer, const char* space_id);

/// The first 256 members of `answer` become the table.
void rebuild_members_table(const char* answer, const char* space_id);
