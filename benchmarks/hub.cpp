// How long the hub's list takes with 32 spaces of 32 rooms: from nothing, and with every row
// changed. Called by ./bench.
#include "interface.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"

#include <algorithm>

namespace {

constexpr double k_bar_ms = 3 * 16.7; // three frames
constexpr int k_tries = 9;

void fill_tables(int round) {
    g_hub_server_count = k_max_hub_spaces;
    for (std::int32_t i = 0; i < k_max_hub_spaces; ++i) {
        HubSpace& space = g_hub_servers[i];
        format_text(space.id, "space-%d", int{i});
        format_text(space.name, "Espacio %d de la vuelta %d", int{i}, round);
        space.roomsCached = true;
        space.roomsCacheValid = true;
        space.cachedRoomCount = k_max_hub_rooms;
        for (std::int32_t j = 0; j < k_max_hub_rooms; ++j) {
            HubRoom& room = space.cachedRooms[j];
            format_text(room.id, "room-%d-%d", int{i}, int{j});
            format_text(room.name, "Sala %d, vuelta %d", int{j}, round);
        }
    }
    g_selected_server_index = k_max_hub_spaces / 2;
}

void clear_list() {
    g_hub_server_count = 0;
    g_selected_server_index = -1;
    refresh_hub_server_list();
}

} // namespace

int main() {
    double slowest = 0.0;
    const int status = run_hub([&slowest] {
        std::vector<ChangeTimes> anew;
        std::vector<ChangeTimes> changed;
        for (int i = 0; i < k_tries; ++i) {
            time_change(clear_list);
            fill_tables(2 * i);
            anew.push_back(time_change(refresh_hub_server_list));
            fill_tables(2 * i + 1);
            changed.push_back(time_change(refresh_hub_server_list));
        }
        slowest = std::max(print_median("1,056 rows from nothing", anew),
                           print_median("every row changed", changed));
    });
    return status != 0 ? status : judge("hub", slowest, k_bar_ms);
}
