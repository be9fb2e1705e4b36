// Accounts, spaces, rooms and a history to try the client with. Called by the service's entry with
// --demo.
#pragma once

#include "service/rest/password_pool.h"
#include "service/store/wall_time.h"

#include <string>
#include <vector>

class Database;

/// An account as a person signs in to it.
struct DemoLogin {
    std::string email;
    std::string password;
};

/// Makes them, all or nothing, unless they are there. False, with a sentence for people in `error`,
/// when that cannot be, as when one of the addresses is somebody's.
bool make_demo_data(Database& database, PasswordCost cost, WallTime now, std::string& error);

/// The accounts it makes.
std::vector<DemoLogin> demo_logins();
