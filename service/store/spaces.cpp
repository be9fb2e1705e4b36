// See service/store/spaces.h.
#include "service/store/spaces.h"

#include "service/store/database.h"
#include "service/store/members.h"
#include "service/store/random_text.h"
#include "service/store/rooms.h"
#include "service/store/sql_text.h"

#include <algorithm>

namespace {

constexpr char k_select[] = "SELECT spaces.id, name, description, owner_id, invite_code,"
                            " EXISTS (SELECT 1 FROM space_images WHERE space_id = spaces.id)";
constexpr auto k_find = sql_text(k_select, " FROM spaces WHERE id = ?");
constexpr auto k_find_by_code = sql_text(k_select, " FROM spaces WHERE invite_code = ?");
constexpr auto k_list =
    sql_text(k_select, " FROM members JOIN spaces ON spaces.id = members.space_id"
                       " WHERE account_id = ? ORDER BY number");
constexpr auto k_list_invited =
    sql_text(k_select, ", invitations.id"
                       " FROM invitations JOIN spaces ON spaces.id = invitations.space_id"
                       " WHERE email = ? ORDER BY number DESC LIMIT ?");

// The first six columns of every statement above.
Space read_space(const Statement& row) {
    return {row.text(0), row.text(1), row.text(2), row.text(3), row.text(4), row.number(5) != 0};
}

std::optional<Space> read_one(Statement& statement) {
    return statement.next() ? std::optional(read_space(statement)) : std::nullopt;
}

std::string free_invite_code(Database& database) {
    std::string code = random_invite_code();
    while (find_space_by_code(database, code)) {
        code = random_invite_code();
    }
    return code;
}

} // namespace

std::optional<Space> create_space(Database& database, const Account& owner, const NewSpace& space,
                                  WallTime now) {
    Transaction transaction(database);
    const Space created{
        random_id(),           space.name, space.description, owner.id, free_invite_code(database),
        space.image != nullptr};
    Statement insert(database,
                     "INSERT INTO spaces (id, name, description, owner_id, invite_code, created_at)"
                     " VALUES (?, ?, ?, ?, ?, ?)",
                     created.id, created.name, created.description, created.owner_id,
                     created.invite_code, now);
    if (!insert.run() || !add_member(database, created.id, owner.id, now) ||
        !add_room(database, {created.id, "General", owner.id, true}, now) ||
        (space.image != nullptr && !store_image(database, created.id, *space.image)) ||
        !transaction.commit()) {
        return std::nullopt;
    }
    return created;
}

std::optional<Space> find_space(Database& database, std::string_view space_id) {
    Statement find(database, k_find.data(), space_id);
    return read_one(find);
}

std::optional<Space> find_space_by_code(Database& database, std::string_view code) {
    Statement find(database, k_find_by_code.data(), code);
    return read_one(find);
}

SpaceRole find_role(Database& database, const Space& space, const Account& account) {
    if (is_member(database, space.id, account.id)) {
        return space.owner_id == account.id ? SpaceRole::owner : SpaceRole::member;
    }
    Statement invited(database, "SELECT 1 FROM invitations WHERE space_id = ? AND email = ?",
                      space.id, account.email);
    return invited.next() ? SpaceRole::invited : SpaceRole::none;
}

std::vector<Space> list_spaces(Database& database, std::string_view account_id) {
    Statement list(database, k_list.data(), account_id);
    std::vector<Space> spaces;
    while (list.next()) {
        spaces.push_back(read_space(list));
    }
    return spaces;
}

std::vector<InvitedSpace> list_invited_spaces(Database& database, std::string_view email,
                                              std::int64_t limit) {
    Statement list(database, k_list_invited.data(), email, limit);
    std::vector<InvitedSpace> spaces;
    while (list.next()) {
        spaces.push_back({read_space(list), list.text(6)});
    }
    std::reverse(spaces.begin(), spaces.end());
    return spaces;
}
