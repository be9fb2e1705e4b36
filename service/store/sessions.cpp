// See service/store/sessions.h.
#include "service/store/sessions.h"

#include "service/store/accounts_internal.h"
#include "service/store/random_text.h"
#include "service/store/store_limits.h"

#include <span>

namespace {

using Blob = std::span<const unsigned char>;

constexpr auto k_find_account =
    sql_text(k_select_account, " FROM sessions JOIN accounts ON accounts.id = account_id"
                               " WHERE token_hash = ? AND expires_at > ?");

} // namespace

std::string create_session(Database& database, std::string_view account_id, WallTime expires_at) {
    const std::string token = random_token();
    const TokenHash hash = hash_of_token(token);
    Transaction transaction(database);
    Statement insert(database,
                     "INSERT INTO sessions (token_hash, account_id, expires_at) VALUES (?, ?, ?)",
                     Blob(hash), account_id, expires_at);
    insert.run();
    Statement trim(database,
                   "DELETE FROM sessions WHERE number IN (SELECT number FROM sessions"
                   " WHERE account_id = ? ORDER BY number DESC LIMIT -1 OFFSET ?)",
                   account_id, k_max_sessions_of_account);
    trim.run();
    return transaction.commit() ? token : std::string();
}

std::optional<Account> find_session_account(Database& database, std::string_view token,
                                            WallTime now) {
    if (token.size() != k_token_length) {
        return std::nullopt;
    }
    const TokenHash hash = hash_of_token(token);
    Statement find(database, k_find_account.data(), Blob(hash), now);
    return next_account(find);
}

bool extend_session(Database& database, std::string_view token, WallTime now, WallTime expires_at) {
    const TokenHash hash = hash_of_token(token);
    Statement extend(database,
                     "UPDATE sessions SET expires_at = max(expires_at, ?)"
                     " WHERE token_hash = ? AND expires_at > ?",
                     expires_at, Blob(hash), now);
    return extend.run() && database.changes() == 1;
}

bool delete_expired_sessions(Database& database, WallTime now) {
    Statement expired(database, "DELETE FROM sessions WHERE expires_at <= ?", now);
    return expired.run();
}
