// See service/store/messages.h.
#include "service/store/messages.h"

#include "base/text.h"
#include "service/store/database.h"
#include "service/store/sql_text.h"

#include <chrono>
#include <limits>

namespace {

constexpr char k_select[] = "SELECT number, username, messages.created_at, text FROM messages"
                            " JOIN accounts ON accounts.id = sender_id";
constexpr auto k_list_of_room =
    sql_text(k_select, " WHERE room_id = ? AND number < ? ORDER BY number DESC LIMIT ?");
constexpr auto k_list_of_space =
    sql_text(k_select, " WHERE room_id IS NULL AND space_id = ? AND number < ?"
                       " ORDER BY number DESC LIMIT ?");

} // namespace

std::optional<Message> add_message(Database& database, const ChatScope& scope,
                                   const NewMessage& message, WallTime now) {
    Statement insert(database,
                     "INSERT INTO messages (space_id, room_id, sender_id, created_at, text)"
                     " VALUES (?, nullif(?, ''), ?, ?, ?)",
                     scope.space_id, scope.room_id, message.sender_id, now, message.text);
    if (!insert.run()) {
        return std::nullopt;
    }
    return Message{database.last_row_id(), std::string(message.sender_name), now,
                   std::string(message.text)};
}

std::vector<Message> list_messages(Database& database, const ChatScope& scope, std::int64_t before,
                                   std::int64_t limit) {
    const std::int64_t bound = before > 0 ? before : std::numeric_limits<std::int64_t>::max();
    const bool is_room = !scope.room_id.empty();
    Statement list(database, is_room ? k_list_of_room.data() : k_list_of_space.data(),
                   is_room ? scope.room_id : scope.space_id, bound, limit);
    std::vector<Message> messages;
    while (list.next()) {
        messages.push_back({list.number(0), list.text(1), list.number(2), list.text(3)});
    }
    return messages;
}

std::string iso_time(WallTime time) {
    using namespace std::chrono;
    const sys_time<milliseconds> moment{milliseconds(time)};
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss<milliseconds> clock(moment - day);
    char text[64];
    format_text(text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int{date.year()},
                unsigned{date.month()}, unsigned{date.day()},
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()),
                static_cast<int>(clock.subseconds().count()));
    return text;
}
