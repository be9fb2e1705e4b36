// Passwords: the threads that hash and check them, what wrong ones cost, and sign-ins that wait for
// them.
#include "unit/service/rest_fixture.h"

#include "service/rest/password_hash.h"
#include "service/rest/password_pool.h"
#include "service/rest/wrong_passwords.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <limits>

#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

/// While it lives, the system gives a quarter of a gibibyte and no more.
class MemoryShortage {
  public:
    MemoryShortage() {
        rlim_t pages = 0; // that the process has now
        std::ifstream("/proc/self/statm") >> pages;
        getrlimit(RLIMIT_AS, &m_before);
        const rlimit limit{pages * static_cast<rlim_t>(getpagesize()) + (rlim_t{1} << 28),
                           m_before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    }
    MemoryShortage(const MemoryShortage&) = delete;
    MemoryShortage& operator=(const MemoryShortage&) = delete;
    ~MemoryShortage() { setrlimit(RLIMIT_AS, &m_before); }

  private:
    rlimit m_before{};
};

/// A hash that takes a gibibyte to check.
std::string dear_hash() {
    std::string hash = hash_password("right", k_test_password_cost);
    const std::size_t cost = hash.find("m=8,");
    EXPECT_NE(cost, std::string::npos);
    return hash.replace(cost, 4, "m=1048576,");
}

// --- Hashing and checking ------------------------------------------------------------------------

TEST(PasswordPool, ThreadsHandTheirResultsOverOnTheCallersThread) {
    ASSERT_GE(sodium_init(), 0);
    PasswordPool pool(2, k_test_password_cost);
    ASSERT_TRUE(pool.start());
    std::string hash;
    EXPECT_TRUE(pool.hash("one", [&](const std::string& made) { hash = made; }));
    const auto wait = [&] {
        while (pool.waiting() > 0) {
            pollfd ready{pool.ready_file(), POLLIN, 0};
            ASSERT_EQ(poll(&ready, 1, 20'000), 1);
            pool.deliver();
        }
    };
    wait();
    EXPECT_TRUE(hash.starts_with("$argon2id$"));
    std::string results;
    for (const char* const password : {"one", "two"}) {
        EXPECT_TRUE(pool.check(password, hash, [&](PasswordCheck result) {
            results += result == PasswordCheck::fits ? "right " : "wrong ";
        }));
    }
    EXPECT_TRUE(pool.check("nobody's", "", [&](PasswordCheck result) {
        results += result == PasswordCheck::wrong ? "" : "?";
    }));
    wait();
    std::sort(results.begin(), results.end());
    std::string both = "right wrong ";
    std::sort(both.begin(), both.end());
    EXPECT_EQ(results, both);
}

TEST(PasswordPool, RefusesWhenTooManyAreWaiting) {
    ASSERT_GE(sodium_init(), 0);
    PasswordPool pool(1, k_test_password_cost); // not started: nothing gets done
    for (std::size_t i = 0; i < k_password_queue; ++i) {
        EXPECT_TRUE(pool.hash("x", [](const std::string&) {}));
    }
    EXPECT_FALSE(pool.hash("x", [](const std::string&) {}));
}

TEST(PasswordPool, MissingAccountTakesAsLongAsAWrongPassword) {
    ASSERT_GE(sodium_init(), 0);
    PasswordPool pool(0, {2, 32 * 1024 * 1024});
    std::string hash;
    pool.hash("right", [&](const std::string& made) { hash = made; });
    // Processor time: it does not count what else the machine does.
    const auto shortest = [&](const std::string& stored) {
        std::clock_t best = std::numeric_limits<std::clock_t>::max();
        for (int i = 0; i < 5; ++i) {
            const std::clock_t begin = std::clock();
            pool.check("wrong", stored,
                       [](PasswordCheck result) { EXPECT_EQ(result, PasswordCheck::wrong); });
            best = std::min(best, std::clock() - begin);
        }
        return best;
    };
    EXPECT_GT(shortest(""), shortest(hash) / 2);
}

TEST(PasswordPool, WantOfMemoryIsNoWrongPassword) {
    ASSERT_GE(sodium_init(), 0);
    PasswordPool pool(0, k_test_password_cost);
    PasswordCheck result = PasswordCheck::fits;
    const MemoryShortage shortage;
    pool.check("wrong", dear_hash(), [&](PasswordCheck found) { result = found; });
    EXPECT_EQ(result, PasswordCheck::failed);
}

TEST(PasswordHash, WithoutMemoryThereIsNone) {
    ASSERT_GE(sodium_init(), 0);
    const MemoryShortage shortage;
    EXPECT_EQ(hash_password("x", {1, std::size_t{1} << 30}), "");
}

TEST(PasswordHash, FitsItsPasswordAndNoOther) {
    ASSERT_GE(sodium_init(), 0);
    const std::string password("ñ\0 \"\\", 6);
    const std::string hash = hash_password(password, k_test_password_cost);
    EXPECT_EQ(check_password(password, hash), PasswordCheck::fits);
    EXPECT_EQ(check_password("ñ", hash), PasswordCheck::wrong);
    EXPECT_EQ(check_password("", hash), PasswordCheck::wrong);
    EXPECT_EQ(crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()), 0);
}

TEST(PasswordHash, WhatIsNoHashFitsNothing) {
    ASSERT_GE(sodium_init(), 0);
    const std::string hash = hash_password("x", k_test_password_cost);
    for (std::size_t size = 0; size < hash.size(); ++size) {
        EXPECT_EQ(check_password("x", hash.substr(0, size)), PasswordCheck::wrong) << size;
    }
    EXPECT_EQ(check_password("x", hash + "A"), PasswordCheck::wrong);
    EXPECT_EQ(check_password("x", "$argon2i" + hash.substr(9)), PasswordCheck::wrong);
}

// --- Wrong ones ----------------------------------------------------------------------------------

int tries_until_refused(WrongPasswords& wrong, const std::string& email, WallTime now) {
    int tries = 0;
    while (tries < 1000 && wrong.charge(email, now)) {
        ++tries;
    }
    return tries;
}

TEST(WrongPasswords, TenAtOnceAndThenOneEverySixSeconds) {
    WrongPasswords wrong;
    EXPECT_EQ(tries_until_refused(wrong, "a", 0), k_wrong_passwords);
    EXPECT_FALSE(wrong.charge("a", k_wrong_password_ms - 1));
    EXPECT_EQ(tries_until_refused(wrong, "a", k_wrong_password_ms), 1);
    EXPECT_EQ(tries_until_refused(wrong, "b", 0), k_wrong_passwords);
    EXPECT_EQ(tries_until_refused(wrong, "a", 1'000'000), k_wrong_passwords);
}

TEST(WrongPasswords, TryTakenBackCanBeMadeAgain) {
    WrongPasswords wrong;
    tries_until_refused(wrong, "a", 0);
    wrong.refund("a");
    wrong.refund("a");
    EXPECT_EQ(tries_until_refused(wrong, "a", 0), 2);
    wrong.refund("unknown");
    EXPECT_EQ(wrong.size(), 1U);
}

TEST(WrongPasswords, RightOneForgivesAll) {
    WrongPasswords wrong;
    tries_until_refused(wrong, "a", 0);
    wrong.forgive("a");
    EXPECT_EQ(tries_until_refused(wrong, "a", 0), k_wrong_passwords);
}

TEST(WrongPasswords, ClockSetBackLocksNobodyOut) {
    WrongPasswords wrong;
    tries_until_refused(wrong, "a", 1'000'000'000);
    EXPECT_FALSE(wrong.charge("a", 1'000'000'000));
    EXPECT_TRUE(wrong.charge("a", 0));
}

TEST(WrongPasswords, RemembersABoundedNumberOfAddressesAndForgetsTheMildest) {
    WrongPasswords wrong;
    tries_until_refused(wrong, "worst", 0);
    for (std::size_t i = 0; i < 2 * k_wrong_password_addresses; ++i) {
        wrong.charge(std::to_string(i), 0);
    }
    EXPECT_EQ(wrong.size(), k_wrong_password_addresses);
    EXPECT_FALSE(wrong.charge("worst", 0));
}

TEST(WrongPasswords, AddressesThatNoAccountHasForTheirLengthAreNotRemembered) {
    WrongPasswords wrong;
    EXPECT_EQ(tries_until_refused(wrong, std::string(k_max_email_bytes + 1, 'a'), 0), 1000);
    EXPECT_EQ(wrong.size(), 0U);
    EXPECT_EQ(tries_until_refused(wrong, std::string(k_max_email_bytes, 'a'), 0),
              k_wrong_passwords);
}

TEST(WrongPasswords, SettledOnesAreForgotten) {
    WrongPasswords wrong;
    wrong.charge("a", 0);
    tries_until_refused(wrong, "b", 0);
    wrong.forget_settled(k_wrong_password_ms - 1);
    EXPECT_EQ(wrong.size(), 2U);
    wrong.forget_settled(k_wrong_password_ms);
    EXPECT_EQ(wrong.size(), 1U);
}

// --- Sign-ins that wait --------------------------------------------------------------------------

Json credentials(const std::string& email, const std::string& password) {
    return {{"email", email}, {"password", password}};
}

/// Passwords on a thread of their own: answers come out of deliver().
class RestWaiting : public RestTest {
  protected:
    RestWaiting() {
        m_ana = sign_up("ana@example.org");
        restart(false, 1);
    }

    /// Sends a request. Its status is at the place returned: 0 until it is answered.
    std::size_t begin(const std::string& path, const Json& body) {
        RestRequest request;
        request.method = "POST";
        request.path = path;
        request.content_type = "application/json";
        request.body = body.dump();
        const std::size_t place = m_statuses.size();
        m_statuses.push_back(0);
        m_service->handle(request, [this, place](const RestAnswer& answer) {
            EXPECT_EQ(m_statuses[place], 0) << "answered twice";
            m_statuses[place] = answer.status;
        });
        return place;
    }
    std::size_t begin_login(const std::string& email, const std::string& password) {
        return begin("/api/auth/login", credentials(email, password));
    }
    std::size_t waiting() { return m_service->context().passwords.waiting(); }
    void wait() {
        while (waiting() > 0) {
            pollfd ready{m_service->ready_file(), POLLIN, 0};
            ASSERT_EQ(poll(&ready, 1, 20'000), 1);
            m_service->deliver();
        }
    }
    int login(const std::string& email, const std::string& password) {
        const std::size_t place = begin_login(email, password);
        wait();
        return m_statuses[place];
    }
    std::ptrdiff_t count(int status) const {
        return std::count(m_statuses.begin(), m_statuses.end(), status);
    }

    Person m_ana;
    std::vector<int> m_statuses;
};

TEST_F(RestWaiting, DatabaseThatFailsBeforeThePasswordIsLookedAtIsThatRequests500) {
    ASSERT_TRUE(m_database->execute("ALTER TABLE accounts RENAME TO lost"));
    for (const char* const path : {"/api/auth/login", "/api/auth/signup"}) {
        const std::size_t place = begin(path, credentials("ana@example.org", k_good_password));
        EXPECT_EQ(m_statuses[place], 500) << path;
        EXPECT_EQ(waiting(), 0U) << path;
        EXPECT_EQ(get("/nowhere").status, 404);
    }
    EXPECT_EQ(g_reports,
              std::vector<std::string>(2, "the database failed: no such table: accounts"));
}

TEST_F(RestWaiting, DatabaseThatFailsCountsAsNoWrongPassword) {
    ASSERT_TRUE(m_database->execute("ALTER TABLE accounts RENAME TO lost"));
    for (int i = 0; i < 2 * k_wrong_passwords; ++i) {
        EXPECT_EQ(login("ana@example.org", k_good_password), 500) << i;
    }
    ASSERT_TRUE(m_database->execute("ALTER TABLE lost RENAME TO accounts"));
    for (int i = 0; i < k_wrong_passwords; ++i) {
        EXPECT_EQ(login("ana@example.org", "Wrong-Horse-1"), 401) << i;
    }
}

TEST_F(RestWaiting, DatabaseThatFailsWhileThePasswordIsCheckedIsThatRequests500) {
    const std::size_t place = begin_login("ana@example.org", k_good_password);
    ASSERT_TRUE(m_database->execute("PRAGMA query_only=ON"));
    EXPECT_EQ(get("/nowhere").status, 404);
    wait();
    EXPECT_EQ(m_statuses[place], 500);
    EXPECT_EQ(get("/nowhere").status, 404);
    ASSERT_TRUE(m_database->execute("PRAGMA query_only=OFF"));
    EXPECT_EQ(login("ana@example.org", k_good_password), 200);
}

TEST_F(RestWaiting, WrongPasswordsAtOnceAreNoMoreThanInTurn) {
    constexpr int k_tries = 400;
    for (int i = 0; i < k_tries; ++i) {
        begin_login("ana@example.org", "Wrong-Horse-" + std::to_string(i));
    }
    EXPECT_EQ(waiting(), static_cast<std::size_t>(k_wrong_passwords));
    wait();
    EXPECT_EQ(count(401), k_wrong_passwords);
    EXPECT_EQ(count(429), k_tries - k_wrong_passwords);
    EXPECT_EQ(login("ana@example.org", k_good_password), 429);
}

TEST_F(RestWaiting, RightPasswordsCostNothingOnceTheyAreKnownToBe) {
    for (int i = 0; i < 3 * k_wrong_passwords; ++i) {
        EXPECT_EQ(login("ana@example.org", k_good_password), 200) << i;
    }
}

TEST_F(RestWaiting, LoginsThatFindNoPlaceCostNothing) {
    for (std::size_t i = 0; i < k_password_queue; ++i) {
        begin_login(std::to_string(i) + "@example.org", "x");
    }
    for (int i = 0; i < 2 * k_wrong_passwords; ++i) {
        EXPECT_EQ(m_statuses[begin_login("ana@example.org", k_good_password)], 429) << i;
    }
    wait();
    EXPECT_EQ(login("ana@example.org", k_good_password), 200);
}

TEST_F(RestWaiting, AddressTooLongForAnAccountIsTheSame401ForTheSameWorkAndIsNotRemembered) {
    const std::string email = std::string(60'000, 'a') + "@example.org";
    for (int i = 0; i < 2 * k_wrong_passwords; ++i) {
        const std::size_t place = begin_login(email, "Wrong-Horse-1");
        EXPECT_EQ(waiting(), 1U);
        wait();
        EXPECT_EQ(m_statuses[place], 401) << i;
    }
    EXPECT_EQ(m_service->context().wrong_passwords.size(), 0U);
}

TEST_F(RestWaiting, HouseKeepingForgetsWrongPasswordsOfLongAgo) {
    login("ana@example.org", "Wrong-Horse-1");
    m_service->keep_house();
    EXPECT_EQ(m_service->context().wrong_passwords.size(), 1U);
    g_test_now += k_wrong_password_ms;
    m_service->keep_house();
    EXPECT_EQ(m_service->context().wrong_passwords.size(), 0U);
}

TEST_F(RestWaiting, WantOfMemoryIs500AndCountsAsNoWrongPassword) {
    const auto store = [&](const std::string& hash) {
        Statement update(*m_database, "UPDATE accounts SET password_hash = ?", hash);
        ASSERT_TRUE(update.run());
    };
    store(dear_hash());
    const MemoryShortage shortage;
    for (int i = 0; i < 2 * k_wrong_passwords; ++i) {
        EXPECT_EQ(login("ana@example.org", k_good_password), 500) << i;
    }
    EXPECT_EQ(g_reports,
              std::vector<std::string>(2 * k_wrong_passwords, "there is no memory for a password"));
    store(hash_password(k_good_password, k_test_password_cost));
    EXPECT_EQ(login("ana@example.org", k_good_password), 200);
}

} // namespace
