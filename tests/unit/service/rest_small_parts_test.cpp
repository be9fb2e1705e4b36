// Parts of the REST half by themselves, and what happens when its database fails.
#include "unit/service/rest_fixture.h"

#include "service/rest/space_answers.h"
#include "service/shared/chat_texts.h"

namespace {

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
    bool execute(const char* sql) { return m_database->execute(sql); }
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

// The account is written before its first session.
TEST_F(RestFailure, AnAccountWithoutASessionIsNotKept) {
    const Json wanted{{"email", "eva@example.org"}, {"password", k_good_password}};
    const std::string before = dump();
    ASSERT_TRUE(execute("ALTER TABLE sessions RENAME TO gone"));
    EXPECT_EQ(status("POST", "/api/auth/signup", wanted), 500);
    ASSERT_TRUE(execute("ALTER TABLE gone RENAME TO sessions"));
    EXPECT_EQ(dump(), before);
    EXPECT_EQ(status("POST", "/api/auth/signup", wanted), 201);
}

// What could not be counted looks like none, on which the call goes on to write.
TEST_F(RestFailure, AWriteBehindAFailedReadIsNotKept) {
    const Person ana = sign_up("ana@example.org");
    const std::string space = make_space(ana);
    const std::string before = dump();
    ASSERT_TRUE(
        execute("ALTER TABLE rooms RENAME TO kept;"
                "CREATE VIEW rooms AS SELECT * FROM kept WHERE abs(-9223372036854775807 - 1);"
                "CREATE TRIGGER writing INSTEAD OF INSERT ON rooms BEGIN"
                " INSERT INTO kept (id, space_id, name, created_by, is_general, created_at)"
                " VALUES (NEW.id, NEW.space_id, NEW.name, NEW.created_by, NEW.is_general,"
                " NEW.created_at); END"));
    EXPECT_EQ(status("POST", "/api/spaces/" + space + "/rooms",
                     {{"sessionToken", ana.token}, {"name", "Otra"}}),
              500);
    ASSERT_TRUE(execute("DROP VIEW rooms; ALTER TABLE kept RENAME TO rooms"));
    EXPECT_EQ(dump(), before);
}

TEST_F(RestFailure, EveryWriteThatFailsIs500) {
    const Person ana = sign_up("ana@example.org");
    const Person eva = sign_up("eva@example.org");
    const std::string space = make_space(ana);
    const std::string room = make_room(ana, space, "Otra");
    const std::string invitation =
        post_as(ana, "/api/spaces/" + space + "/invitations", {{"invitedEmail", eva.email}})
            .string("id");
    const std::string code = invite_code(ana, space);
    const std::string before = dump();
    ASSERT_TRUE(execute("PRAGMA query_only=ON"));
    struct Write {
        const char* method;
        std::string path;
        Json body;
    };
    const std::vector<Write> writes{
        {"POST", "/api/auth/session/restore", {{"sessionToken", ana.token}}},
        {"POST", "/api/spaces", {{"sessionToken", ana.token}, {"name", "Otro"}}},
        {"POST", "/api/spaces/join-by-code", {{"sessionToken", eva.token}, {"inviteCode", code}}},
        {"POST",
         "/api/spaces/" + space + "/invitations",
         {{"sessionToken", ana.token}, {"invitedEmail", "kim@example.org"}}},
        {"POST",
         "/api/spaces/invitations/" + invitation + "/accept",
         {{"sessionToken", eva.token}}},
        {"POST",
         "/api/spaces/invitations/" + invitation + "/decline",
         {{"sessionToken", eva.token}}},
        {"DELETE",
         "/api/spaces/" + space + "/rooms/" + room,
         {{"sessionToken", ana.token}, {"confirmName", "Otra"}}},
        {"POST",
         "/api/chats/room/" + room + "/messages",
         {{"sessionToken", ana.token}, {"text", "hola"}}},
    };
    for (const Write& write : writes) {
        EXPECT_EQ(status(write.method, write.path, write.body), 500) << write.path;
    }
    ASSERT_TRUE(execute("PRAGMA query_only=OFF"));
    EXPECT_EQ(dump(), before);
}

TEST_F(RestFailure, EachIsReportedOnceWithWhatTheDatabaseSaid) {
    const Person ana = sign_up("ana@example.org");
    ASSERT_TRUE(execute("ALTER TABLE members RENAME TO lost"));
    for (int i = 0; i < 2; ++i) {
        status("POST", "/api/spaces", {{"sessionToken", ana.token}, {"name", "Privado"}});
    }
    const std::string line = "the database failed: no such table: members";
    EXPECT_EQ(g_reports, std::vector<std::string>(2, line));
    g_reports.clear();
    ASSERT_TRUE(execute("ALTER TABLE sessions RENAME TO gone"));
    m_service->keep_house();
    EXPECT_EQ(g_reports, std::vector<std::string>{"the database failed: no such table: sessions"});
    ASSERT_TRUE(execute("ALTER TABLE gone RENAME TO sessions"));
    ASSERT_TRUE(execute("ALTER TABLE lost RENAME TO members"));
    g_reports.clear();
    EXPECT_EQ(status("GET", "/api/spaces", {{"sessionToken", ana.token}}), 200);
    EXPECT_TRUE(g_reports.empty());
}

TEST_F(RestFailure, WhatFailedBeforeIsNotTheNextRequests) {
    const Person ana = sign_up("ana@example.org");
    EXPECT_FALSE(execute("SELECT 1 FROM nowhere"));
    EXPECT_EQ(status("GET", "/api/spaces", {{"sessionToken", ana.token}}), 200);
}

} // namespace
