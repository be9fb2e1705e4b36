// See service/store/members.h.
#include "service/store/members.h"

#include "service/store/accounts_internal.h"

#include <utility>

namespace {

constexpr auto k_list =
    sql_text(k_select_account, " FROM members JOIN accounts ON accounts.id = account_id"
                               " WHERE space_id = ? ORDER BY number LIMIT ?");

} // namespace

bool add_member(Database& database, std::string_view space_id, std::string_view account_id,
                WallTime now) {
    if (is_member(database, space_id, account_id)) {
        return false;
    }
    Statement insert(database,
                     "INSERT INTO members (space_id, account_id, joined_at) VALUES (?, ?, ?)",
                     space_id, account_id, now);
    return insert.run();
}

bool is_member(Database& database, std::string_view space_id, std::string_view account_id) {
    Statement find(database, "SELECT 1 FROM members WHERE space_id = ? AND account_id = ?",
                   space_id, account_id);
    return find.next();
}

std::int64_t count_members(Database& database, std::string_view space_id) {
    Statement count(database, "SELECT count(*) FROM members WHERE space_id = ?", space_id);
    return count.next() ? count.number(0) : 0;
}

std::int64_t count_spaces(Database& database, std::string_view account_id) {
    Statement count(database, "SELECT count(*) FROM members WHERE account_id = ?", account_id);
    return count.next() ? count.number(0) : 0;
}

std::vector<Account> list_members(Database& database, std::string_view space_id,
                                  std::int64_t limit) {
    Statement list(database, k_list.data(), space_id, limit);
    std::vector<Account> members;
    while (std::optional<Account> member = next_account(list)) {
        members.push_back(std::move(*member));
    }
    return members;
}
