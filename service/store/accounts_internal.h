// How statements read accounts. Shared by the files of service/store that do.
#pragma once

#include "service/store/accounts.h"
#include "service/store/database.h"
#include "service/store/sql_text.h"

/// What such a statement begins with.
constexpr char k_select_account[] = "SELECT accounts.id, username, email";

/// The next row of one; empty at its end and on a failure.
inline std::optional<Account> next_account(Statement& statement) {
    if (!statement.next()) {
        return std::nullopt;
    }
    return Account{statement.text(0), statement.text(1), statement.text(2)};
}
