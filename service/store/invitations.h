// Invitations by e-mail that wait for an answer. Called by the answers about invitations.
//
// They belong to an address, not to an account: one that registers later finds them.
#pragma once

#include "service/store/wall_time.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class Database;

struct Invitation {
    std::string id;
    std::string space_id;
    std::string email; ///< clean
};

struct NewInvitation {
    std::string_view space_id;
    std::string_view email;
    std::string_view invited_by; ///< an account's id
};

/// The address is not invited to the space yet. Empty on a failure.
std::optional<Invitation> add_invitation(Database& database, const NewInvitation& invitation,
                                         WallTime now);

std::optional<Invitation> find_invitation(Database& database, std::string_view invitation_id);

std::optional<Invitation> find_invitation_of(Database& database, std::string_view space_id,
                                             std::string_view email);

std::int64_t count_invitations(Database& database, std::string_view space_id);

/// Nothing when there is none. False on a failure.
bool delete_invitation_of(Database& database, std::string_view space_id, std::string_view email);
