// Members of spaces. Called by the answers about spaces and members.
#pragma once

#include "service/store/accounts.h"

/// False when the account is one already, and on a failure.
bool add_member(Database& database, std::string_view space_id, std::string_view account_id,
                WallTime now);

bool is_member(Database& database, std::string_view space_id, std::string_view account_id);

std::int64_t count_members(Database& database, std::string_view space_id);

/// How many spaces the account is a member of.
std::int64_t count_spaces(Database& database, std::string_view account_id);

/// In the order in which they joined: the owner first. `limit` of them at most.
std::vector<Account> list_members(Database& database, std::string_view space_id,
                                  std::int64_t limit);
