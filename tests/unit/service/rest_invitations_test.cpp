// Members and invitations.
#include "unit/service/rest_fixture.h"

#include "service/store/accounts.h"
#include "service/store/invitations.h"
#include "service/store/members.h"

namespace {

class RestInvitations : public RestTest {
  protected:
    Reply invite(const Person& person, const std::string& email) {
        return post_as(person, "/api/spaces/" + m_space + "/invitations",
                       {{"invitedEmail", email}});
    }
    Json spaces_of(const Person& person) { return get_as(person, "/api/spaces").json["spaces"]; }
    std::string invitation_of(const Person& person) {
        return spaces_of(person)[0]["invitationId"].get<std::string>();
    }
    Reply respond(const Person& person, const std::string& invitation, const char* word) {
        return post_as(person, "/api/spaces/invitations/" + invitation + "/" + word);
    }

    const Person m_ana = sign_up("ana@example.org");
    const Person m_eva = sign_up("eva@example.org");
    const std::string m_space = make_space(m_ana);
};

TEST_F(RestInvitations, InvitedSeesThePendingSpaceWithoutItsCode) {
    const Reply invited = invite(m_ana, " EVA@example.org");
    EXPECT_EQ(invited.status, 201);
    const Json spaces = spaces_of(m_eva);
    ASSERT_EQ(spaces.size(), 1U);
    EXPECT_EQ(spaces[0]["id"], m_space);
    EXPECT_EQ(spaces[0]["name"], "Mi espacio");
    EXPECT_EQ(spaces[0]["knownBy"], "invited");
    EXPECT_EQ(spaces[0]["invitationStatus"], "pending");
    EXPECT_EQ(spaces[0]["invitationId"], invited.string("id"));
    EXPECT_EQ(spaces[0]["inviteCode"], "");
}

TEST_F(RestInvitations, AcceptingMakesAMember) {
    invite(m_ana, m_eva.email);
    const Reply accepted = respond(m_eva, invitation_of(m_eva), "accept");
    EXPECT_EQ(accepted.status, 200);
    EXPECT_EQ(accepted.string("id"), m_space);
    const Json spaces = spaces_of(m_eva);
    ASSERT_EQ(spaces.size(), 1U);
    EXPECT_EQ(spaces[0]["knownBy"], "member");
    EXPECT_EQ(get_as(m_eva, "/api/spaces/" + m_space + "/rooms").status, 200);
}

TEST_F(RestInvitations, DecliningEndsTheInvitationAndLetsAnotherFollow) {
    invite(m_ana, m_eva.email);
    const std::string id = invitation_of(m_eva);
    EXPECT_EQ(respond(m_eva, id, "decline").status, 200);
    EXPECT_TRUE(spaces_of(m_eva).empty());
    EXPECT_EQ(respond(m_eva, id, "accept").status, 404);
    EXPECT_EQ(respond(m_eva, id, "decline").status, 404);
    EXPECT_EQ(invite(m_ana, m_eva.email).status, 201);
}

TEST_F(RestInvitations, OnlyTheInvitedCanAnswer) {
    const Person kim = sign_up("kim@example.org");
    invite(m_ana, m_eva.email);
    const std::string id = invitation_of(m_eva);
    const std::string before = dump();
    for (const char* const word : {"accept", "decline"}) {
        EXPECT_EQ(respond(kim, id, word).status, 403);
        EXPECT_EQ(respond(m_ana, id, word).status, 403);
        EXPECT_EQ(post("/api/spaces/invitations/" + id + "/" + word, Json::object()).status, 401);
        EXPECT_EQ(respond(m_eva, random_id(), word).status, 404);
    }
    EXPECT_EQ(dump(), before);
}

TEST_F(RestInvitations, AddressWithoutAccountFindsItOnceItRegisters) {
    EXPECT_EQ(invite(m_ana, "Later@example.org").status, 201);
    const Person later = sign_up("later@example.org");
    ASSERT_EQ(spaces_of(later).size(), 1U);
    EXPECT_EQ(respond(later, invitation_of(later), "accept").status, 200);
}

TEST_F(RestInvitations, InvitingTwiceIsOneInvitation) {
    const Reply first = invite(m_ana, m_eva.email);
    const Reply second = invite(m_ana, m_eva.email);
    EXPECT_EQ(second.status, 200);
    EXPECT_EQ(second.string("id"), first.string("id"));
    EXPECT_EQ(spaces_of(m_eva).size(), 1U);
}

TEST_F(RestInvitations, MembersAreNotInvitedAgain) {
    join(m_eva, m_ana, m_space);
    EXPECT_EQ(invite(m_ana, m_eva.email).status, 409);
    EXPECT_EQ(invite(m_ana, m_ana.email).status, 409);
}

TEST_F(RestInvitations, JoiningByCodeAnswersTheInvitation) {
    invite(m_ana, m_eva.email);
    join(m_eva, m_ana, m_space);
    const Json spaces = spaces_of(m_eva);
    ASSERT_EQ(spaces.size(), 1U);
    EXPECT_EQ(spaces[0]["knownBy"], "member");
}

TEST_F(RestInvitations, MembersMayInviteAndStrangersMayNot) {
    EXPECT_EQ(invite(m_eva, "kim@example.org").status, 403);
    join(m_eva, m_ana, m_space);
    EXPECT_EQ(invite(m_eva, "kim@example.org").status, 201);
}

TEST_F(RestInvitations, BadAddressesAre400AndUnknownSpaces404) {
    EXPECT_EQ(invite(m_ana, "").status, 400);
    EXPECT_EQ(invite(m_ana, "nobody").status, 400);
    EXPECT_EQ(post_as(m_ana, "/api/spaces/" + m_space + "/invitations").status, 400);
    EXPECT_EQ(post_as(m_ana, "/api/spaces/" + random_id() + "/invitations",
                      {{"invitedEmail", m_eva.email}})
                  .status,
              404);
}

TEST_F(RestInvitations, SpaceHas256PendingOnesAtMost) {
    for (int i = 0; i < 256; ++i) {
        const std::string email = "guest" + std::to_string(i) + "@example.org";
        add_invitation(*m_database, {m_space, email, m_ana.id}, g_test_now);
    }
    EXPECT_EQ(invite(m_ana, m_eva.email).status, 409);
}

TEST_F(RestInvitations, MembersAreListedForMembersOnly) {
    const std::string path = "/api/spaces/" + m_space + "/members";
    EXPECT_EQ(get_as(m_eva, path).status, 403);
    invite(m_ana, m_eva.email);
    EXPECT_EQ(get_as(m_eva, path).status, 403); // the invited is none yet
    join(m_eva, m_ana, m_space);
    const Reply list = get_as(m_eva, path);
    EXPECT_EQ(list.text,
              R"({"members":[{"id":")" + m_ana.id +
                  R"(","username":"ana","displayName":"ana","email":"ana@example.org"},)"
                  R"({"id":")" +
                  m_eva.id +
                  R"(","username":"eva","displayName":"eva","email":"eva@example.org"}]})");
    EXPECT_EQ(get(path).status, 401);
    EXPECT_EQ(get_as(m_ana, "/api/spaces/" + random_id() + "/members").status, 404);
}

TEST_F(RestInvitations, SpaceHas256MembersAtMost) {
    for (int i = 0; i < 255; ++i) {
        const NewAccount guest{"g" + std::to_string(i) + "@example.org", "x"};
        const auto account = create_account(*m_database, guest, g_test_now);
        ASSERT_TRUE(account);
        ASSERT_TRUE(add_member(*m_database, m_space, account->id, g_test_now));
    }
    const Reply join =
        post_as(m_eva, "/api/spaces/join-by-code", {{"inviteCode", invite_code(m_ana, m_space)}});
    EXPECT_EQ(join.status, 409);
    const Reply list = get_as(m_ana, "/api/spaces/" + m_space + "/members");
    EXPECT_LT(list.text.size(), 32'000U);
    EXPECT_EQ(list.json["members"].size(), 256U);
}

TEST_F(RestInvitations, LongListOfMembersIsCutBetweenTwoOfThem) {
    for (int i = 0; i < 250; ++i) {
        const NewAccount guest{
            "g" + std::to_string(i) + "@" + std::string(60, 'x') + "." + std::string(40, 'y'), "x"};
        const auto account = create_account(*m_database, guest, g_test_now);
        ASSERT_TRUE(account);
        ASSERT_TRUE(add_member(*m_database, m_space, account->id, g_test_now));
    }
    const Reply list = get_as(m_ana, "/api/spaces/" + m_space + "/members");
    ASSERT_TRUE(list.json.is_object());
    EXPECT_LE(list.text.size(), 32'000U);
    EXPECT_GT(list.text.size(), 31'000U);
    EXPECT_EQ(list.json["members"][0]["username"], "ana"); // the owner came first
}

} // namespace
