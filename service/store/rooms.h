// Rooms of spaces. Called by the answers about rooms and chats.
#pragma once

#include "service/store/wall_time.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Database;

struct Room {
    std::string id;
    std::string space_id;
    std::string name;
    std::string created_by;  ///< an account's id
    bool is_general = false; ///< the one that the space began with; it stays
};

struct NewRoom {
    std::string_view space_id;
    std::string_view name; ///< clean
    std::string_view created_by;
    bool is_general = false;
};

/// Empty on a failure.
std::optional<Room> add_room(Database& database, const NewRoom& room, WallTime now);

std::optional<Room> find_room(Database& database, std::string_view room_id);

/// In the order in which they were made: the general room first.
std::vector<Room> list_rooms(Database& database, std::string_view space_id);

std::int64_t count_rooms(Database& database, std::string_view space_id);

/// Deletes the room and its messages.
bool delete_room(Database& database, std::string_view room_id);
