// See service/store/rooms.h.
#include "service/store/rooms.h"

#include "service/store/database.h"
#include "service/store/random_text.h"
#include "service/store/sql_text.h"

namespace {

constexpr char k_select[] = "SELECT id, space_id, name, created_by, is_general FROM rooms";
constexpr auto k_find = sql_text(k_select, " WHERE id = ?");
constexpr auto k_list = sql_text(k_select, " WHERE space_id = ? ORDER BY number");

Room read_room(const Statement& row) {
    return {row.text(0), row.text(1), row.text(2), row.text(3), row.number(4) != 0};
}

} // namespace

std::optional<Room> add_room(Database& database, const NewRoom& room, WallTime now) {
    const Room created{random_id(), std::string(room.space_id), std::string(room.name),
                       std::string(room.created_by), room.is_general};
    Statement insert(database,
                     "INSERT INTO rooms (id, space_id, name, created_by, is_general, created_at)"
                     " VALUES (?, ?, ?, ?, ?, ?)",
                     created.id, created.space_id, created.name, created.created_by,
                     created.is_general, now);
    return insert.run() ? std::optional(created) : std::nullopt;
}

std::optional<Room> find_room(Database& database, std::string_view room_id) {
    Statement find(database, k_find.data(), room_id);
    return find.next() ? std::optional(read_room(find)) : std::nullopt;
}

std::vector<Room> list_rooms(Database& database, std::string_view space_id) {
    Statement list(database, k_list.data(), space_id);
    std::vector<Room> rooms;
    while (list.next()) {
        rooms.push_back(read_room(list));
    }
    return rooms;
}

std::int64_t count_rooms(Database& database, std::string_view space_id) {
    Statement count(database, "SELECT count(*) FROM rooms WHERE space_id = ?", space_id);
    return count.next() ? count.number(0) : 0;
}

bool delete_room(Database& database, std::string_view room_id) {
    Statement remove(database, "DELETE FROM rooms WHERE id = ?", room_id);
    return remove.run();
}
