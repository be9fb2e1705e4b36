// See service/store/database.h.
#include "service/store/database.h"

#include "service/store/schema.h"

#include <utility>

std::unique_ptr<Database> Database::open(const std::string& file, std::string& error, int busy_ms) {
    sqlite3* handle = nullptr;
    constexpr int k_flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(file.c_str(), &handle, k_flags, nullptr);
    std::unique_ptr<Database> database(new Database(handle));
    if (result != SQLITE_OK) {
        error = "cannot open " + file + ": " + sqlite3_errstr(result);
        return nullptr;
    }
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, busy_ms);
    if (!database->prepare_file(file, error)) {
        return nullptr;
    }
    return database;
}

Database::~Database() {
    m_idle.clear();
    sqlite3_close(m_handle);
}

// Looks before it touches anything, then makes or keeps the tables.
bool Database::prepare_file(const std::string& file, std::string& error) {
    switch (inspect_schema(*this)) {
    case SchemaState::current:
    case SchemaState::empty:
        break;
    case SchemaState::newer:
        error = file + " was written by a newer version of this program";
        return false;
    case SchemaState::foreign:
        error = file + " belongs to another program";
        return false;
    case SchemaState::damaged:
        error = file + " is damaged or not a database: " + m_failure_text;
        return false;
    }
    if (!write_ahead() || !execute("PRAGMA synchronous=FULL") ||
        !execute("PRAGMA foreign_keys=ON") || !create_schema(*this)) {
        error = "cannot write " + file + ": " + m_failure_text;
        return false;
    }
    return true;
}

// Where the file system offers no shared memory, SQLite answers with the old mode and no error.
bool Database::write_ahead() {
    Statement journal(*this, "PRAGMA journal_mode=WAL");
    if (!journal.next()) {
        return false;
    }
    if (journal.text(0) != "wal" && journal.text(0) != "memory") {
        note_failure("no write-ahead log is possible there");
        return false;
    }
    return true;
}

// Outside of a transaction a statement is kept at once: not what is meant while there is one that
// could not begin, or that SQLite has rolled back.
bool Database::may_run() {
    if (m_transactions > 0 && sqlite3_get_autocommit(m_handle) != 0) {
        note_failure("the transaction has ended");
        return false;
    }
    return true;
}

bool Database::execute(const char* sql) {
    if (!may_run()) {
        return false;
    }
    if (sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK) {
        return true;
    }
    note_failure(sqlite3_errmsg(m_handle));
    return false;
}

bool Database::take_failure() {
    return std::exchange(m_failed, false);
}

void Database::note_failure(const char* text) {
    if (!m_failed) { // what follows is most often a consequence
        m_failed = true;
        m_failure_text = text;
    }
}

Database::StatementPtr Database::take_statement(const char* sql) {
    const auto found = m_idle.find(sql);
    if (found != m_idle.end()) {
        StatementPtr statement = std::move(found->second);
        m_idle.erase(found);
        return statement;
    }
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(m_handle, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK) {
        note_failure(sqlite3_errmsg(m_handle));
    }
    return StatementPtr(statement);
}

void Database::give_back(const char* sql, StatementPtr statement) {
    sqlite3_reset(statement.get());
    sqlite3_clear_bindings(statement.get());
    m_idle.emplace(sql, std::move(statement));
}

Statement::~Statement() {
    if (m_statement != nullptr) {
        m_database.give_back(m_sql, std::move(m_statement));
    }
}

bool Statement::next() {
    if (m_statement == nullptr || m_is_failed) {
        return false;
    }
    if (!m_database.may_run()) {
        m_is_failed = true;
        return false;
    }
    const int result = sqlite3_step(m_statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        check(result);
    }
    return result == SQLITE_ROW;
}

bool Statement::run() {
    next();
    return m_statement != nullptr && !m_is_failed;
}

void Statement::check(int result) {
    if (result != SQLITE_OK && !m_is_failed) {
        m_is_failed = true;
        m_database.note_failure(sqlite3_errmsg(m_database.m_handle));
    }
}

void Statement::bind(std::string_view value) {
    if (m_statement != nullptr) {
        const char* const bytes = value.data() != nullptr ? value.data() : "";
        check(sqlite3_bind_text64(m_statement.get(), ++m_bound, bytes, value.size(),
                                  SQLITE_TRANSIENT, SQLITE_UTF8));
    }
}

void Statement::bind(std::int64_t value) {
    if (m_statement != nullptr) {
        check(sqlite3_bind_int64(m_statement.get(), ++m_bound, value));
    }
}

void Statement::bind(std::span<const unsigned char> value) {
    if (m_statement != nullptr) {
        check(sqlite3_bind_blob64(m_statement.get(), ++m_bound, value.data(), value.size(),
                                  SQLITE_STATIC));
    }
}

std::string Statement::text(int column) const {
    const auto* const bytes =
        static_cast<const char*>(sqlite3_column_blob(m_statement.get(), column));
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    return bytes != nullptr ? std::string(bytes, static_cast<std::size_t>(size)) : std::string();
}

std::int64_t Statement::number(int column) const {
    return sqlite3_column_int64(m_statement.get(), column);
}

Transaction::Transaction(Database& database)
    : m_database(database), m_is_outermost(database.m_transactions == 0) {
    if (m_is_outermost) {
        m_database.m_is_undone = !m_database.execute("BEGIN IMMEDIATE");
    }
    ++m_database.m_transactions;
}

Transaction::~Transaction() {
    if (m_is_ended) {
        return;
    }
    m_database.m_is_undone = true;
    // SQLite may have rolled it back already, as when the disk is full.
    if (m_is_outermost && sqlite3_get_autocommit(m_database.m_handle) == 0) {
        m_database.execute("ROLLBACK");
    }
    --m_database.m_transactions;
}

bool Transaction::commit() {
    if (m_is_ended || m_database.m_failed || m_database.m_is_undone || !m_database.may_run() ||
        (m_is_outermost && !m_database.execute("COMMIT"))) {
        return false;
    }
    m_is_ended = true;
    --m_database.m_transactions;
    return true;
}
