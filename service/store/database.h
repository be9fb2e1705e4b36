// The service's SQLite database: opening it with care, statements, transactions. Used by the rest
// of service/store; knows nothing of what the tables hold.
//
// A database and everything made from it belong to one thread. What is written is on the disk when
// the write returns, whatever happens to the process or the machine after that.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

class Database {
  public:
    /// How long a statement waits for another program that looks into the file.
    static constexpr int k_busy_ms = 5'000;

    /// Opens `file`, made with the current schema when it is not there; ":memory:" is one that ends
    /// with the object. Null, with a sentence for people in `error`, when the file is damaged, not
    /// this service's, of a newer version of it, or in use; it is then left as it was.
    static std::unique_ptr<Database> open(const std::string& file, std::string& error,
                                          int busy_ms = k_busy_ms);

    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    /// Runs statements without parameters and results. False when one fails.
    bool execute(const char* sql);

    /// True when a statement failed since the last call. Whoever answers a request asks this once,
    /// at its end: what was read until then may be incomplete.
    bool take_failure();

    /// What SQLite said about the first of the failures that were taken last, or are to be taken.
    /// Names tables and columns, never a value.
    const std::string& failure_text() const { return m_failure_text; }

    /// Rows that the last statement inserted, changed or deleted.
    int changes() const { return sqlite3_changes(m_handle); }

    std::int64_t last_row_id() const { return sqlite3_last_insert_rowid(m_handle); }

  private:
    friend class Statement;
    friend class Transaction;
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    using StatementPtr = std::unique_ptr<sqlite3_stmt, Finalizer>;

    explicit Database(sqlite3* handle) : m_handle(handle) {}
    bool prepare_file(const std::string& file, std::string& error);
    bool write_ahead();
    bool may_run();
    StatementPtr take_statement(const char* sql);
    void give_back(const char* sql, StatementPtr statement);
    void note_failure(const char* text);

    sqlite3* m_handle;
    std::map<std::string_view, StatementPtr> m_idle; // prepared and not in use, by their text
    bool m_failed = false;
    int m_transactions = 0;   // begun and not ended, one within another
    bool m_is_undone = false; // a part of the open transaction, and so all of it
    std::string m_failure_text;
};

/// A prepared statement in use. `sql` is a literal: statements are kept by it for the next use, and
/// nothing that came from outside is ever part of one. Values are bound in their order: texts are
/// copied, blobs are not and stay as they are for as long as the statement is there.
class Statement {
  public:
    template <typename... Values>
    Statement(Database& database, const char* sql, const Values&... values)
        : m_database(database), m_sql(sql), m_statement(database.take_statement(sql)) {
        (bind(values), ...);
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    /// Goes to the next row. False at the end and on a failure.
    bool next();
    /// Runs a statement that has no rows. False on a failure.
    bool run();

    /// Columns of the current row, from 0. Null is an empty text and 0.
    std::string text(int column) const;
    std::int64_t number(int column) const;

  private:
    void bind(std::string_view value);
    void bind(std::int64_t value);
    void bind(bool value) { bind(std::int64_t{value ? 1 : 0}); }
    void bind(std::span<const unsigned char> value); ///< as a blob
    void bind(const std::string& value) { bind(std::string_view(value)); }
    void bind(const char* value) { bind(std::string_view(value)); }
    void check(int result);

    Database& m_database;
    const char* m_sql;
    Database::StatementPtr m_statement;
    int m_bound = 0;
    bool m_is_failed = false;
};

/// Everything until commit() or nothing. One within another is a part of that: it writes nothing by
/// itself, and undone it undoes all. Where it could not begin, or SQLite has ended it by itself,
/// every statement fails until it is gone.
class Transaction {
  public:
    explicit Transaction(Database& database);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    /// True when all that was written since the beginning is on the disk, or will be with the
    /// transaction around this one; else nothing of it is.
    bool commit();

  private:
    Database& m_database;
    bool m_is_outermost;
    bool m_is_ended = false;
};
