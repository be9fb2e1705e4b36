// See ui/hub/space_users_internal.h: the members of the spaces that were looked at lately.
#include "base/clock.h"
#include "base/text.h"
#include "ui/hub/space_users_internal.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::int64_t k_fresh_us = 20'000'000;

bool is_fresh(const SpaceUsersCacheEntry& entry) {
    return entry.stored_us >= 1 && clock_monotonic_us() - entry.stored_us <= k_fresh_us;
}

std::int32_t clamped(std::int32_t count) {
    return std::clamp(count, 0, k_max_hub_space_users);
}

SpaceUsersCacheEntry& entry_for(const char* space_id) {
    const std::int32_t known = find_space_users_cache_index(space_id);
    if (known >= 0) {
        return g_hub_space_users_cache[known];
    }
    if (g_hub_space_users_cache_count < k_space_users_cache_max) {
        return g_hub_space_users_cache[g_hub_space_users_cache_count++];
    }
    return g_hub_space_users_cache[0];
}

} // namespace

SpaceUsersCacheEntry g_hub_space_users_cache[k_space_users_cache_max];
std::int32_t g_hub_space_users_cache_count = 0;

std::int32_t find_space_users_cache_index(const char* space_id) {
    for (std::int32_t i = 0; !is_empty(space_id) && i < g_hub_space_users_cache_count; ++i) {
        if (std::strcmp(g_hub_space_users_cache[i].space_id, space_id) == 0) {
            return i;
        }
    }
    return -1;
}

bool load_space_users_from_cache_if_fresh(const char* space_id) {
    const std::int32_t index = find_space_users_cache_index(space_id);
    if (index < 0 || !is_fresh(g_hub_space_users_cache[index])) {
        return false;
    }
    const SpaceUsersCacheEntry& entry = g_hub_space_users_cache[index];
    g_hub_space_user_count = clamped(entry.count);
    std::copy_n(entry.users, g_hub_space_user_count, g_hub_space_users);
    copy_text(g_hub_space_users_space_id, entry.space_id);
    refresh_hub_space_users_list();
    return true;
}

void store_current_space_users_in_cache(const char* space_id) {
    if (is_empty(space_id)) {
        return;
    }
    SpaceUsersCacheEntry& entry = entry_for(space_id);
    copy_text(entry.space_id, space_id);
    entry.stored_us = clock_monotonic_us();
    entry.count = clamped(g_hub_space_user_count);
    std::copy_n(g_hub_space_users, entry.count, entry.users);
}
