// See service/store/database.h.
#include "service/store/database.h"

#include "service/store/schema.h"

#include <utility>

namespace {

constexpr int k_busy_ms = 5'000; // another program may look into the file

} // namespace

std::unique_ptr<Database> Database::open(const std::string& file, std::string& error) {
    sqlite3* handle = nullptr;
    constexpr int k_flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(file.c_str(), &handle, k_flags, nullptr);
    std::unique_ptr<Database> database(new Database(handle));
    if (result != SQLITE_OK) {
        error = "cannot open " + file + ": " + sqlite3_errstr(result);
        return nullptr;
    }
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, k_busy_ms);
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
    if (!execute("PRAGMA journal_mode=WAL") || !execute("PRAGMA synchronous=FULL") ||
        !execute("PRAGMA foreign_keys=ON") || !create_schema(*this)) {
        error = "cannot write " + file + ": " + m_failure_text;
        return false;
    }
    return true;
}

bool Database::execute(const char* sql) {
    if (sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK) {
        return true;
    }
    note_failure();
    return false;
}

bool Database::take_failure() {
    return std::exchange(m_failed, false);
}

void Database::note_failure() {
    m_failed = true;
    m_failure_text = sqlite3_errmsg(m_handle);
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
        note_failure();
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
        m_database.note_failure();
    }
}

// What is bound lives until the statement has run: callers bind what they hold.
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

void Statement::bind(std::nullptr_t) {
    if (m_statement != nullptr) {
        check(sqlite3_bind_null(m_statement.get(), ++m_bound));
    }
}

void Statement::bind(std::span<const unsigned char> value) {
    if (m_statement != nullptr) {
        check(sqlite3_bind_blob64(m_statement.get(), ++m_bound, value.data(), value.size(),
                                  SQLITE_TRANSIENT));
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

bool Statement::is_null(int column) const {
    return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL;
}

Transaction::Transaction(Database& database)
    : m_database(database), m_is_outermost(sqlite3_get_autocommit(database.m_handle) != 0),
      m_is_open(!m_is_outermost || database.execute("BEGIN IMMEDIATE")) {
    if (m_is_outermost) {
        m_database.m_is_undone = false;
    }
}

Transaction::~Transaction() {
    if (!m_is_open) {
        return;
    }
    m_database.m_is_undone = true;
    // A full disk may have rolled it back already.
    if (m_is_outermost && sqlite3_get_autocommit(m_database.m_handle) == 0) {
        m_database.execute("ROLLBACK");
    }
}

bool Transaction::commit() {
    if (!m_is_open || m_database.m_failed || m_database.m_is_undone ||
        (m_is_outermost && !m_database.execute("COMMIT"))) {
        return false;
    }
    m_is_open = false;
    return true;
}
