// See service/store/invitations.h.
#include "service/store/invitations.h"

#include "service/store/database.h"
#include "service/store/random_text.h"
#include "service/store/sql_text.h"

namespace {

constexpr char k_select[] = "SELECT id, space_id, email FROM invitations";
constexpr auto k_find = sql_text(k_select, " WHERE id = ?");
constexpr auto k_find_of = sql_text(k_select, " WHERE space_id = ? AND email = ?");

std::optional<Invitation> read_invitation(Statement& statement) {
    if (!statement.next()) {
        return std::nullopt;
    }
    return Invitation{statement.text(0), statement.text(1), statement.text(2)};
}

} // namespace

std::optional<Invitation> add_invitation(Database& database, const NewInvitation& invitation,
                                         WallTime now) {
    const Invitation created{random_id(), std::string(invitation.space_id),
                             std::string(invitation.email)};
    Statement insert(database,
                     "INSERT INTO invitations (id, space_id, email, invited_by, created_at)"
                     " VALUES (?, ?, ?, ?, ?)",
                     created.id, created.space_id, created.email, invitation.invited_by, now);
    return insert.run() ? std::optional(created) : std::nullopt;
}

std::optional<Invitation> find_invitation(Database& database, std::string_view invitation_id) {
    Statement find(database, k_find.data(), invitation_id);
    return read_invitation(find);
}

std::optional<Invitation> find_invitation_of(Database& database, std::string_view space_id,
                                             std::string_view email) {
    Statement find(database, k_find_of.data(), space_id, email);
    return read_invitation(find);
}

std::int64_t count_invitations(Database& database, std::string_view space_id) {
    Statement count(database, "SELECT count(*) FROM invitations WHERE space_id = ?", space_id);
    return count.next() ? count.number(0) : 0;
}

bool delete_invitation_of(Database& database, std::string_view space_id, std::string_view email) {
    Statement remove(database, "DELETE FROM invitations WHERE space_id = ? AND email = ?", space_id,
                     email);
    return remove.run();
}
