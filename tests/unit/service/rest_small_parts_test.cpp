// Parts of the REST half by themselves, and what happens when its database fails.
#include "unit/service/rest_fixture.h"

#include "service/rest/chat_answers.h"
#include "service/rest/space_answers.h"

#include <algorithm>
#include <chrono>

#include <poll.h>

namespace {

// --- Passwords -----------------------------------------------------------------------------------

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
        EXPECT_TRUE(
            pool.check(password, hash, [&](bool fits) { results += fits ? "right " : "wrong "; }));
    }
    EXPECT_TRUE(pool.check("nobody's", "", [&](bool fits) { results += fits ? "?" : ""; }));
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
    const auto shortest = [&](const std::string& stored) {
        auto best = std::chrono::steady_clock::duration::max();
        for (int i = 0; i < 5; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            pool.check("wrong", stored, [](bool fits) { EXPECT_FALSE(fits); });
            best = std::min(best, std::chrono::steady_clock::now() - begin);
        }
        return best;
    };
    EXPECT_GT(shortest(""), shortest(hash) / 2);
}

TEST(WrongPasswords, LimitIsGentle) {
    WrongPasswords wrong;
    for (int i = 0; i < 1000; ++i) {
        wrong.note_wrong("a", 0);
    }
    EXPECT_FALSE(wrong.may_try("a", 0));
    EXPECT_TRUE(wrong.may_try("b", 0));
    EXPECT_TRUE(wrong.may_try("a", 61'000)); // a minute, whatever was tried before
    wrong.note_right("a");
    EXPECT_TRUE(wrong.may_try("a", 0));
}

TEST(WrongPasswords, ClockSetBackLocksNobodyOut) {
    WrongPasswords wrong;
    for (int i = 0; i < 100; ++i) {
        wrong.note_wrong("a", 1'000'000'000);
    }
    EXPECT_FALSE(wrong.may_try("a", 1'000'000'000));
    EXPECT_TRUE(wrong.may_try("a", 0));
}

TEST(WrongPasswords, RemembersABoundedNumberOfAddressesAndForgetsTheMildest) {
    WrongPasswords wrong;
    for (int i = 0; i < 20; ++i) {
        wrong.note_wrong("worst", 0);
    }
    for (std::size_t i = 0; i < 2 * k_wrong_password_addresses; ++i) {
        wrong.note_wrong(std::to_string(i), 0);
    }
    EXPECT_FALSE(wrong.may_try("worst", 0));
}

// --- Lists and cursors ---------------------------------------------------------------------------

TEST(ListText, LeavesOutWholeObjectsAndAllAfterThem) {
    ListText list("k", 24);
    EXPECT_EQ(list.text(), "{\"k\":[]}");
    EXPECT_TRUE(list.append("{aaaaa}"));
    EXPECT_FALSE(list.append("{bbbbbbbbbbbb}"));
    EXPECT_FALSE(list.prepend("{}"));
    EXPECT_EQ(list.text(), "{\"k\":[{aaaaa}]}");
    ListText front("k", 100);
    EXPECT_TRUE(front.append("2"));
    EXPECT_TRUE(front.prepend("1"));
    EXPECT_TRUE(front.append("3"));
    EXPECT_EQ(front.text(), "{\"k\":[1,2,3]}");
}

TEST(Cursor, IsReadAsItWasWritten) {
    EXPECT_EQ(read_cursor(cursor_text(1)), 1);
    EXPECT_EQ(read_cursor(cursor_text(9'000'000'000'000'000'000)), 9'000'000'000'000'000'000);
    EXPECT_LT(cursor_text(9'000'000'000'000'000'000).size(), 64U);
    EXPECT_FALSE(read_cursor("m-1"));
    EXPECT_FALSE(read_cursor(""));
}

// --- A failing database --------------------------------------------------------------------------

class RestFailure : public RestTest {
  protected:
    int status(const std::string& method, const std::string& path, const Json& body) {
        RestRequest request;
        request.method = method;
        request.path = path;
        request.content_type = "application/json";
        request.body = body.dump();
        request.query = "sessionToken=" + body.value("sessionToken", "");
        int given = 0;
        m_service->handle(request, [&](const RestAnswer& answer) { given = answer.status; });
        return given;
    }
};

TEST_F(RestFailure, WhatCannotBeReadIs500AndTheServiceGoesOn) {
    const Person ana = sign_up("ana@example.org");
    ASSERT_TRUE(m_database->execute("ALTER TABLE members RENAME TO lost"));
    EXPECT_EQ(status("GET", "/api/spaces", {{"sessionToken", ana.token}}), 500);
    ASSERT_TRUE(m_database->execute("ALTER TABLE lost RENAME TO members"));
    EXPECT_EQ(status("GET", "/api/spaces", {{"sessionToken", ana.token}}), 200);
}

TEST_F(RestFailure, WhatCannotBeWrittenIs500AndNothingOfItIsKept) {
    const Person ana = sign_up("ana@example.org");
    const std::string space = make_space(ana);
    const std::string before = dump();
    ASSERT_TRUE(m_database->execute("ALTER TABLE rooms RENAME TO lost"));
    EXPECT_EQ(status("POST", "/api/spaces", {{"sessionToken", ana.token}, {"name", "Otro"}}), 500);
    ASSERT_TRUE(m_database->execute("ALTER TABLE lost RENAME TO rooms"));
    EXPECT_EQ(dump(), before);
    ASSERT_TRUE(m_database->execute("PRAGMA query_only=ON"));
    EXPECT_EQ(
        status("POST", "/api/auth/login", {{"email", ana.email}, {"password", k_good_password}}),
        500);
    EXPECT_EQ(status("POST", "/api/auth/signup",
                     {{"email", "eva@example.org"}, {"password", k_good_password}}),
              500);
    EXPECT_EQ(status("POST", "/api/spaces/" + space + "/rooms",
                     {{"sessionToken", ana.token}, {"name", "Otra"}}),
              500);
    ASSERT_TRUE(m_database->execute("PRAGMA query_only=OFF"));
    EXPECT_EQ(dump(), before);
}

} // namespace
