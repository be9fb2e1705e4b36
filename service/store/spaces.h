// Spaces and what an account is to them. Called by the answers about spaces.
#pragma once

#include "service/store/accounts.h"
#include "service/store/images.h"

struct Space {
    std::string id;
    std::string name;
    std::string description;
    std::string owner_id;
    std::string invite_code; ///< without its dashes
    bool has_image = false;
};

/// A space that an account was invited to and has not answered.
struct InvitedSpace {
    Space space;
    std::string invitation_id;
};

enum class SpaceRole { none, invited, member, owner };

struct NewSpace {
    std::string name; ///< clean
    std::string description;
    const Image* image = nullptr;
};

/// Makes a space with its owner as the first member and the room "General". Empty on a failure.
std::optional<Space> create_space(Database& database, const Account& owner, const NewSpace& space,
                                  WallTime now);

std::optional<Space> find_space(Database& database, std::string_view space_id);

/// `code` is without dashes.
std::optional<Space> find_space_by_code(Database& database, std::string_view code);

SpaceRole find_role(Database& database, const Space& space, const Account& account);

/// The spaces that the account is a member of, in the order in which it joined.
std::vector<Space> list_spaces(Database& database, std::string_view account_id);

/// Oldest invitation first; `limit` of the newest at most.
std::vector<InvitedSpace> list_invited_spaces(Database& database, std::string_view email,
                                              std::int64_t limit);
