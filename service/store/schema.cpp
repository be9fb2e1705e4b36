// See service/store/schema.h.
//
// Times are milliseconds since 1970. Identifiers are random texts. `number` columns keep the order
// in which rows came. E-mail addresses are stored in lower case.
#include "service/store/schema.h"

#include "service/store/database.h"

namespace {

constexpr std::int64_t k_application_id = 0x56454C4D; // "VELM"
constexpr std::int64_t k_version = 1;

constexpr const char* k_tables = R"sql(
BEGIN IMMEDIATE;
CREATE TABLE accounts (
    id TEXT PRIMARY KEY,
    username TEXT NOT NULL UNIQUE COLLATE NOCASE,
    email TEXT NOT NULL UNIQUE,
    password_hash TEXT NOT NULL,
    is_demo INTEGER NOT NULL,
    created_at INTEGER NOT NULL
) STRICT;
CREATE TABLE sessions (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    token_hash BLOB NOT NULL UNIQUE,
    account_id TEXT NOT NULL REFERENCES accounts ON DELETE CASCADE,
    expires_at INTEGER NOT NULL
) STRICT;
CREATE INDEX sessions_by_account ON sessions (account_id, number);
CREATE INDEX sessions_by_end ON sessions (expires_at);
CREATE TABLE spaces (
    id TEXT PRIMARY KEY,
    name TEXT NOT NULL,
    description TEXT NOT NULL,
    owner_id TEXT NOT NULL REFERENCES accounts,
    invite_code TEXT NOT NULL UNIQUE,
    created_at INTEGER NOT NULL
) STRICT;
CREATE TABLE space_images (
    space_id TEXT PRIMARY KEY REFERENCES spaces ON DELETE CASCADE,
    content_type TEXT NOT NULL,
    etag TEXT NOT NULL,
    data BLOB NOT NULL
) STRICT;
CREATE TABLE members (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    space_id TEXT NOT NULL REFERENCES spaces ON DELETE CASCADE,
    account_id TEXT NOT NULL REFERENCES accounts ON DELETE CASCADE,
    joined_at INTEGER NOT NULL,
    UNIQUE (space_id, account_id)
) STRICT;
CREATE INDEX members_by_account ON members (account_id, number);
CREATE TABLE invitations (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    id TEXT NOT NULL UNIQUE,
    space_id TEXT NOT NULL REFERENCES spaces ON DELETE CASCADE,
    email TEXT NOT NULL,
    invited_by TEXT NOT NULL REFERENCES accounts ON DELETE CASCADE,
    created_at INTEGER NOT NULL,
    UNIQUE (space_id, email)
) STRICT;
CREATE INDEX invitations_by_email ON invitations (email, number);
CREATE TABLE rooms (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    id TEXT NOT NULL UNIQUE,
    space_id TEXT NOT NULL REFERENCES spaces ON DELETE CASCADE,
    name TEXT NOT NULL,
    created_by TEXT NOT NULL REFERENCES accounts,
    is_general INTEGER NOT NULL,
    created_at INTEGER NOT NULL
) STRICT;
CREATE INDEX rooms_by_space ON rooms (space_id, number);
CREATE TABLE messages (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    space_id TEXT NOT NULL REFERENCES spaces ON DELETE CASCADE,
    room_id TEXT REFERENCES rooms (id) ON DELETE CASCADE, -- null: the chat of the space itself
    sender_id TEXT NOT NULL REFERENCES accounts,
    created_at INTEGER NOT NULL,
    text TEXT NOT NULL
) STRICT;
CREATE INDEX messages_by_room ON messages (room_id, number) WHERE room_id IS NOT NULL;
CREATE INDEX messages_by_space ON messages (space_id, number) WHERE room_id IS NULL;
PRAGMA application_id = 1447382093;
PRAGMA user_version = 1;
COMMIT;
)sql";
static_assert(k_application_id == 1447382093 && k_version == 1, "as the statements above say");

std::int64_t first_number(Database& database, const char* sql) {
    Statement statement(database, sql);
    return statement.next() ? statement.number(0) : 0;
}

bool is_whole(Database& database) {
    Statement check(database, "PRAGMA quick_check(1)");
    return check.next() && check.text(0) == "ok";
}

} // namespace

SchemaState inspect_schema(Database& database) {
    const std::int64_t objects = first_number(database, "SELECT count(*) FROM sqlite_schema");
    const std::int64_t application = first_number(database, "PRAGMA application_id");
    const std::int64_t version = first_number(database, "PRAGMA user_version");
    if (database.take_failure()) {
        return SchemaState::damaged;
    }
    if (application != k_application_id) {
        const bool is_new = objects == 0 && application == 0 && version == 0;
        return is_new ? SchemaState::empty : SchemaState::foreign;
    }
    if (version > k_version) {
        return SchemaState::newer;
    }
    if (!is_whole(database) || database.take_failure() || objects == 0) {
        return SchemaState::damaged;
    }
    return SchemaState::current;
}

bool create_schema(Database& database) {
    if (first_number(database, "PRAGMA user_version") == k_version) {
        return true;
    }
    if (database.execute(k_tables)) {
        return true;
    }
    database.execute("ROLLBACK");
    return false;
}
