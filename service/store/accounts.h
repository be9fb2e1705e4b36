// Accounts: who may sign in. Called by the sign-in answers and the demo data.
#pragma once

#include "service/store/wall_time.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Database;

struct Account {
    std::string id;
    std::string username; ///< unique, letters, digits, - and _
    std::string email;    ///< unique, in lower case
};

struct NewAccount {
    std::string email; ///< clean and plausible
    std::string password_hash;
    bool is_demo = false; ///< may be signed in to from the local consent page
};

/// Makes an account under a user name that nobody has yet. Empty when the address has one already,
/// and on a failure.
std::optional<Account> create_account(Database& database, const NewAccount& account, WallTime now);

/// `email` is clean.
std::optional<Account> find_account_by_email(Database& database, std::string_view email);

/// The stored hash of the account's password; empty without such an account.
std::string find_password_hash(Database& database, std::string_view account_id);

/// The demo account with this id.
std::optional<Account> find_demo_account(Database& database, std::string_view account_id);

std::vector<Account> list_demo_accounts(Database& database);
