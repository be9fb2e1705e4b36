// Sessions: who is signed in. A token is known by its hash only. Called by all answers.
#pragma once

#include "service/store/accounts.h"

/// Signs the account in until `expires_at`. Returns the token; empty on a failure. An account's
/// oldest sessions end where there are too many.
std::string create_session(Database& database, std::string_view account_id, WallTime expires_at);

/// Whose session it is; empty for a token that is unknown or has expired.
std::optional<Account> find_session_account(Database& database, std::string_view token,
                                            WallTime now);

/// Lets the session with this token live until `expires_at`. False when there is none, or on a
/// failure.
bool extend_session(Database& database, std::string_view token, WallTime now, WallTime expires_at);

/// Forgets what has expired.
bool delete_expired_sessions(Database& database, WallTime now);
