// The database: what it refuses to open, what a transaction is, what texts may be.
#include "service/store/data_folder.h"
#include "service/store/database.h"
#include "service/store/images.h"
#include "service/store/messages.h"
#include "service/store/random_text.h"
#include "service/store/text_rules.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

int g_lock_failure = 0; // what locking a file fails with; 0: it does not

} // namespace

// In place of the library's.
extern "C" int flock(int file, int operation) noexcept {
    if (g_lock_failure != 0) {
        errno = g_lock_failure;
        return -1;
    }
    return static_cast<int>(syscall(SYS_flock, file, operation));
}

namespace {

/// A folder of the test's own.
class StoreFiles : public ::testing::Test {
  protected:
    StoreFiles() { std::filesystem::remove_all(m_folder); }
    ~StoreFiles() override { std::filesystem::remove_all(m_folder); }

    bool open() {
        m_error.clear();
        DataFolder data;
        return data.open(m_folder, m_error);
    }
    void run(const std::string& sql) {
        sqlite3* handle = nullptr;
        ASSERT_EQ(sqlite3_open(m_file.c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
        sqlite3_close(handle);
    }
    std::string bytes() const {
        std::ifstream file(m_file, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void write(const std::string& content) const {
        std::filesystem::create_directories(m_folder);
        std::ofstream(m_file, std::ios::binary) << content;
    }

    const std::string m_folder = (std::filesystem::current_path() /
                                  ::testing::UnitTest::GetInstance()->current_test_info()->name())
                                     .string();
    const std::string m_file = m_folder + "/velmo.db";
    std::string m_error;
};

TEST_F(StoreFiles, FolderIsMadeAndIsItsOwnersOnlyWithoutAChangeToTheProcess) {
    const mode_t before = umask(S_IWGRP | S_IWOTH);
    EXPECT_TRUE(open()) << m_error;
    EXPECT_EQ(umask(before), mode_t{S_IWGRP | S_IWOTH});
    EXPECT_EQ(std::filesystem::status(m_folder).permissions(), std::filesystem::perms::owner_all);
    EXPECT_TRUE(open()) << m_error; // and again
}

TEST_F(StoreFiles, SecondServiceOnTheFolderIsRefused) {
    std::string error;
    DataFolder first;
    ASSERT_TRUE(first.open(m_folder, error));
    EXPECT_FALSE(open());
    EXPECT_EQ(m_error, "cannot use the data folder " + m_folder + ": another service is using it");
}

TEST_F(StoreFiles, FileSystemWithoutLocksIsNotTakenForAnotherService) {
    g_lock_failure = ENOLCK;
    EXPECT_FALSE(open());
    g_lock_failure = 0;
    EXPECT_EQ(m_error, "cannot use the data folder " + m_folder + ": No locks available");
}

TEST_F(StoreFiles, DatabaseOfANewerVersionIsLeftAsItIs) {
    ASSERT_TRUE(open());
    run("PRAGMA user_version = 99");
    const std::string before = bytes();
    EXPECT_FALSE(open());
    EXPECT_EQ(m_error, m_file + " was written by a newer version of this program");
    EXPECT_EQ(bytes(), before);
}

TEST_F(StoreFiles, DatabaseOfAnotherProgramIsLeftAsItIs) {
    std::filesystem::create_directories(m_folder);
    run("CREATE TABLE theirs (x)");
    const std::string before = bytes();
    EXPECT_FALSE(open());
    EXPECT_EQ(m_error, m_file + " belongs to another program");
    EXPECT_EQ(bytes(), before);
}

TEST_F(StoreFiles, FileThatIsNoDatabaseIsLeftAsItIs) {
    const std::string text(10'000, 'x');
    write(text);
    EXPECT_FALSE(open());
    EXPECT_NE(m_error.find("is damaged or not a database"), std::string::npos) << m_error;
    EXPECT_EQ(bytes(), text);
}

TEST_F(StoreFiles, DamagedDatabaseIsLeftAsItIs) {
    ASSERT_TRUE(open());
    std::string content = bytes();
    ASSERT_GT(content.size(), 20'000U);
    write(content.substr(0, content.size() / 2));
    EXPECT_FALSE(open());
    EXPECT_EQ(bytes(), content.substr(0, content.size() / 2));
    for (std::size_t i = 4096; i < 12'000; ++i) {
        content[i] = static_cast<char>(i * 31);
    }
    write(content);
    EXPECT_FALSE(open());
    EXPECT_NE(m_error.find("is damaged or not a database"), std::string::npos) << m_error;
    EXPECT_EQ(bytes(), content);
}

TEST_F(StoreFiles, EmptyFileBecomesADatabase) {
    write("");
    EXPECT_TRUE(open()) << m_error;
}

TEST_F(StoreFiles, FolderThatCannotBeMadeIsAClearError) {
    std::string error;
    DataFolder data;
    EXPECT_FALSE(data.open("/proc/nowhere/velmo", error));
    EXPECT_TRUE(error.starts_with("cannot use the data folder /proc/nowhere/velmo: ")) << error;
}

TEST_F(StoreFiles, WritesAreFullySynchronised) {
    std::string error;
    DataFolder data;
    ASSERT_TRUE(data.open(m_folder, error));
    Statement journal(data.database(), "PRAGMA journal_mode");
    ASSERT_TRUE(journal.next());
    EXPECT_EQ(journal.text(0), "wal");
    Statement synchronous(data.database(), "PRAGMA synchronous");
    ASSERT_TRUE(synchronous.next());
    EXPECT_EQ(synchronous.number(0), 2); // FULL
}

TEST_F(StoreFiles, FileSystemWithoutAWriteAheadLogIsAClearError) {
    sqlite3_vfs* const usual = sqlite3_vfs_find(nullptr);
    sqlite3_vfs* const without_shared_memory = sqlite3_vfs_find("unix-dotfile");
    ASSERT_NE(without_shared_memory, nullptr);
    sqlite3_vfs_register(without_shared_memory, 1);
    EXPECT_FALSE(open());
    sqlite3_vfs_register(usual, 1);
    EXPECT_EQ(m_error, "cannot write " + m_file + ": no write-ahead log is possible there");
}

bool insert(Database& database, std::int64_t number) {
    Statement statement(database, "INSERT INTO numbers VALUES (?)", number);
    return statement.run();
}

std::int64_t count(Database& database) {
    Statement statement(database, "SELECT count(*) FROM numbers");
    return statement.next() ? statement.number(0) : -1;
}

/// A database, and another program that holds its write lock.
class StoreLocked : public StoreFiles {
  protected:
    StoreLocked() {
        std::filesystem::create_directories(m_folder);
        m_database = Database::open(m_file, m_error, 0);
        EXPECT_NE(m_database, nullptr) << m_error;
        EXPECT_TRUE(m_database->execute("CREATE TABLE numbers (n INTEGER)"));
        EXPECT_EQ(sqlite3_open(m_file.c_str(), &m_other), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(m_other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~StoreLocked() override { sqlite3_close(m_other); }

    void let_go() {
        EXPECT_EQ(sqlite3_exec(m_other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    }

    std::unique_ptr<Database> m_database;
    sqlite3* m_other = nullptr;
};

TEST_F(StoreLocked, NothingIsWrittenOrReadInATransactionThatCouldNotBegin) {
    {
        Transaction transaction(*m_database);
        let_go();
        EXPECT_FALSE(insert(*m_database, 1));
        EXPECT_FALSE(m_database->execute("INSERT INTO numbers VALUES (2)"));
        EXPECT_EQ(count(*m_database), -1);
        EXPECT_FALSE(transaction.commit());
    }
    EXPECT_EQ(count(*m_database), 0);
    EXPECT_TRUE(m_database->take_failure());
    EXPECT_EQ(m_database->failure_text(), "database is locked"); // what began it
}

TEST_F(StoreLocked, PartOfATransactionThatCouldNotBeginIsNoneOfItsOwn) {
    {
        Transaction whole(*m_database);
        let_go();
        EXPECT_TRUE(m_database->take_failure());
        Transaction part(*m_database);
        EXPECT_FALSE(insert(*m_database, 1));
        EXPECT_TRUE(m_database->take_failure());
        EXPECT_FALSE(part.commit());
        EXPECT_FALSE(whole.commit());
    }
    EXPECT_EQ(count(*m_database), 0);
}

TEST_F(StoreLocked, NextTransactionIsAsGoodAsEver) {
    { Transaction failed(*m_database); }
    let_go();
    EXPECT_TRUE(m_database->take_failure());
    Transaction transaction(*m_database);
    EXPECT_TRUE(insert(*m_database, 1));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(count(*m_database), 1);
}

// --- Statements ----------------------------------------------------------------------------------

class StoreMemory : public ::testing::Test {
  protected:
    StoreMemory() {
        std::string error;
        m_database = Database::open(":memory:", error);
        EXPECT_NE(m_database, nullptr) << error;
        EXPECT_TRUE(m_database->execute("CREATE TABLE numbers (n INTEGER UNIQUE)"));
    }
    std::unique_ptr<Database> m_database;
};

TEST_F(StoreMemory, TransactionIsAllOrNothing) {
    {
        Transaction transaction(*m_database);
        insert(*m_database, 1);
        insert(*m_database, 2);
    }
    EXPECT_EQ(count(*m_database), 0);
    Transaction transaction(*m_database);
    insert(*m_database, 1);
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(count(*m_database), 1);
}

TEST_F(StoreMemory, TransactionWithAFailureInItIsUndone) {
    {
        Transaction transaction(*m_database);
        insert(*m_database, 1);
        EXPECT_FALSE(insert(*m_database, 1));
        EXPECT_FALSE(transaction.commit());
    }
    EXPECT_EQ(count(*m_database), 0);
    EXPECT_TRUE(m_database->take_failure());
    EXPECT_FALSE(m_database->take_failure());
}

TEST_F(StoreMemory, NothingIsKeptAfterSqliteHasEndedTheTransactionByItself) {
    insert(*m_database, 1);
    {
        Transaction transaction(*m_database);
        EXPECT_TRUE(insert(*m_database, 2));
        EXPECT_FALSE(m_database->execute("INSERT OR ROLLBACK INTO numbers VALUES (1)"));
        EXPECT_TRUE(m_database->take_failure());
        EXPECT_FALSE(insert(*m_database, 3));
        {
            Transaction part(*m_database);
            EXPECT_FALSE(insert(*m_database, 4));
            EXPECT_FALSE(part.commit());
        }
        EXPECT_TRUE(m_database->take_failure());
        EXPECT_FALSE(transaction.commit());
    }
    EXPECT_EQ(count(*m_database), 1);
    EXPECT_FALSE(insert(*m_database, 1));
    EXPECT_TRUE(insert(*m_database, 2));
}

TEST_F(StoreMemory, PartUndoneUndoesTheTransactionAroundIt) {
    {
        Transaction whole(*m_database);
        insert(*m_database, 1);
        {
            Transaction part(*m_database);
            insert(*m_database, 2);
            EXPECT_TRUE(part.commit());
        }
        { Transaction part(*m_database); }
        EXPECT_FALSE(whole.commit());
    }
    EXPECT_EQ(count(*m_database), 0);
    {
        Transaction whole(*m_database);
        Transaction part(*m_database);
        insert(*m_database, 3);
        EXPECT_TRUE(part.commit());
        EXPECT_TRUE(whole.commit());
    }
    EXPECT_EQ(count(*m_database), 1);
}

TEST_F(StoreMemory, SameStatementCanBeInUseTwice) {
    insert(*m_database, 1);
    insert(*m_database, 2);
    const char* const sql = "SELECT n FROM numbers ORDER BY n";
    Statement outer(*m_database, sql);
    std::string read;
    while (outer.next()) {
        Statement inner(*m_database, sql);
        while (inner.next()) {
            read += outer.text(0) + inner.text(0) + " ";
        }
    }
    EXPECT_EQ(read, "11 12 21 22 ");
}

TEST_F(StoreMemory, BadStatementIsAFailureAndNothingElse) {
    Statement statement(*m_database, "SELECT x FROM nowhere WHERE y = ?", "z");
    EXPECT_FALSE(statement.next());
    EXPECT_FALSE(statement.run());
    EXPECT_TRUE(m_database->take_failure());
    EXPECT_NE(m_database->failure_text().find("nowhere"), std::string::npos);
}

// --- Texts ---------------------------------------------------------------------------------------

TEST(StoreTexts, IdentifiersAndTokensAreOfTheirLengthAndNeverTheSame) {
    ASSERT_GE(sodium_init(), 0);
    EXPECT_TRUE(is_id(random_id()));
    EXPECT_TRUE(is_secret(random_secret()));
    EXPECT_EQ(random_token().size(), k_token_length);
    EXPECT_NE(random_id(), random_id());
    EXPECT_NE(random_token(), random_token());
    EXPECT_FALSE(is_id(random_secret()));
    EXPECT_FALSE(is_id(""));
    EXPECT_FALSE(is_id("../../../../../../.."));
}

TEST(StoreTexts, InviteCodeSurvivesBeingShownAndTyped) {
    ASSERT_GE(sodium_init(), 0);
    for (int i = 0; i < 100; ++i) {
        const std::string code = random_invite_code();
        EXPECT_EQ(typed_invite_code(shown_invite_code(code)), code);
    }
    EXPECT_EQ(shown_invite_code("ABCDEFGHJKLM"), "ABCD-EFGH-JKLM");
    EXPECT_EQ(typed_invite_code(" abcd efgh-jklm "), "ABCDEFGHJKLM");
    EXPECT_EQ(typed_invite_code("ABCD-EFGH-JKL"), "");
    EXPECT_EQ(typed_invite_code("ABCD-EFGH-JKL1"), "");
    EXPECT_EQ(typed_invite_code(std::string(100'000, 'A')), "");
}

TEST(StoreTexts, TimesAreWrittenInTheIsoForm) {
    EXPECT_EQ(iso_time(0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(iso_time(1'714'558'830'007), "2024-05-01T10:20:30.007Z");
    EXPECT_EQ(iso_time(1'709'251'199'999), "2024-02-29T23:59:59.999Z");
}

TEST(StoreTexts, ImagesAreKnownByTheirBeginning) {
    EXPECT_EQ(image_content_type(""), "");
    EXPECT_EQ(image_content_type("\x89PNG"), "");
    EXPECT_EQ(image_content_type("RIFFxxxxWEBP"), "image/webp");
    EXPECT_EQ(image_content_type("RIFFxxxxWEB"), "");
}

TEST(StoreTexts, MarksThatTurnTheTextAreControlCharacters) {
    EXPECT_TRUE(has_control_characters("a\xE2\x80\xAE"));
    EXPECT_TRUE(has_control_characters("a\xE2\x81\xA6"));
    EXPECT_TRUE(has_control_characters("\xC2\x9F"));
    EXPECT_FALSE(has_control_characters("ñandú \xE2\x82\xAC \xF0\x9F\x98\x80"));
}

} // namespace
