// The members of the selected space, as the hub lists them, and what is remembered of each space's.
// The current list itself is in backend/hub_tables.h. Used by the other files of the hub, the texts
// and the streams. Main thread.
#pragma once

#include "backend/hub_tables.h"
#include "ui/ui_internal.h"

#include <cstdint>

extern GtkWidget* g_hub_space_users_title_label;
extern GtkWidget* g_hub_space_users_empty_label;
extern GtkWidget* g_hub_space_users_list;

// The column (space_users.cpp).

/// Fills the column and registers for the lists that the backend loads.
void append_space_users(GtkWidget* column);

/// Shows the current list.
void refresh_hub_space_users_list();

/// Empties the current list; the streams of its space go with it.
void clear_hub_space_users();

/// The user has taken another name: shows and remembers it, where the user is among the members.
void refresh_current_user_display_name_in_space_users();

// What is remembered (space_users_cache.cpp).

/// One space's members and when they were known.
struct SpaceUsersCacheEntry {
    char space_id[128];
    std::int64_t stored_us; ///< of the monotonic clock
    std::int32_t count;
    HubSpaceUser users[k_max_hub_space_users];
};

constexpr std::int32_t k_space_users_cache_max = 32;

/// Never emptied, whoever is signed in.
extern SpaceUsersCacheEntry g_hub_space_users_cache[k_space_users_cache_max];
extern std::int32_t g_hub_space_users_cache_count;

/// -1 for an unknown, an empty or no id.
std::int32_t find_space_users_cache_index(const char* space_id);

/// Makes what is remembered of the space the current list, unless that is more than 20 s old.
bool load_space_users_from_cache_if_fresh(const char* space_id);

/// Remembers the current list as this space's; with all 32 places taken in the first of them.
void store_current_space_users_in_cache(const char* space_id);
