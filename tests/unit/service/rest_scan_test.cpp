// The answers as the client reads them: with its scanners, which know no JSON.
#include "unit/service/rest_fixture.h"

#include "backend/json_scan.h"
#include "service/store/messages.h"

#include <array>

namespace {

class RestScan : public RestTest {
  protected:
    std::string scan(const std::string& text, const char* key) {
        std::array<char, 600> value{};
        extract_json_string_field(text.c_str(), key, value);
        return value.data();
    }
    /// `key` in each object of the list, joined.
    std::string walk(const std::string& text, const char* key) {
        std::string all;
        const char* cursor = nullptr;
        const char* start = nullptr;
        const char* end = nullptr;
        while (find_next_top_level_json_object(text.c_str(), &cursor, &start, &end)) {
            std::array<char, 600> value{};
            extract_json_string_field_in_range(start, end + 1, key, value);
            all += std::string(value.data()) + "|";
        }
        return all;
    }

    const Person m_ana = sign_up("ana@example.org");
    const Person m_eva = sign_up("eva@example.org");
};

TEST_F(RestScan, IdentityIsFoundInAnswersOfSigningIn) {
    for (const Reply& reply :
         {post("/api/auth/login", {{"email", m_ana.email}, {"password", k_good_password}}),
          post("/api/auth/session/restore", {{"sessionToken", m_ana.token}})}) {
        EXPECT_EQ(scan(reply.text, "id"), m_ana.id);
        EXPECT_EQ(scan(reply.text, "username"), "ana");
        EXPECT_EQ(scan(reply.text, "email"), "ana@example.org");
        EXPECT_EQ(scan(reply.text, "sessionToken").size(), k_token_length);
    }
}

TEST_F(RestScan, ErrorIsFound) {
    const Reply reply = get("/api/spaces");
    EXPECT_EQ(scan(reply.text, "error"), reply.error());
    EXPECT_FALSE(reply.error().empty());
}

TEST_F(RestScan, EachSpaceIsReadFromItsOwnObject) {
    const std::string first = make_space(m_ana, "Uno } { ] [ , dos");
    const std::string second = make_space(m_ana, "Con \"comillas\" y \\");
    const std::string invited = make_space(m_eva, "De Eva");
    const Reply invitation =
        post_as(m_eva, "/api/spaces/" + invited + "/invitations", {{"invitedEmail", m_ana.email}});
    const std::string text = get_as(m_ana, "/api/spaces").text;
    EXPECT_EQ(walk(text, "id"), invited + "|" + first + "|" + second + "|");
    EXPECT_EQ(walk(text, "name"), "De Eva|Uno } { ] [ , dos|Con \"comillas\" y \\|");
    EXPECT_EQ(walk(text, "adminUserId"), m_eva.id + "|" + m_ana.id + "|" + m_ana.id + "|");
    EXPECT_EQ(walk(text, "knownBy"), "invited|owner|owner|");
    EXPECT_EQ(walk(text, "invitationId"), invitation.string("id") + "|||");
    EXPECT_EQ(walk(text, "invitationStatus"), "pending|||");
}

TEST_F(RestScan, JoinedSpaceIsTheFirstIdOfTheAnswer) {
    const std::string space = make_space(m_eva);
    const Reply joined =
        post_as(m_ana, "/api/spaces/join-by-code", {{"inviteCode", invite_code(m_eva, space)}});
    EXPECT_EQ(scan(joined.text, "id"), space);
}

TEST_F(RestScan, RoomsAreRead) {
    const std::string space = make_space(m_ana);
    make_room(m_ana, space, "Música");
    const std::string text = get_as(m_ana, "/api/spaces/" + space + "/rooms").text;
    EXPECT_EQ(walk(text, "name"), "General|Música|");
    EXPECT_EQ(walk(text, "createdByUserId"), m_ana.id + "|" + m_ana.id + "|");
}

// The client takes a member from one brace to the next, beginning with the one around them all.
TEST_F(RestScan, MembersAreReadFromBraceToBrace) {
    const std::string space = make_space(m_ana);
    join(m_eva, m_ana, space);
    const std::string text = get_as(m_ana, "/api/spaces/" + space + "/members").text;
    std::string read;
    std::size_t position = 0;
    while (true) {
        const std::size_t open = text.find('{', position);
        const std::size_t close = open == std::string::npos ? open : text.find('}', open + 1);
        if (close == std::string::npos) {
            break;
        }
        for (const char* const key : {"id", "username", "displayName", "email"}) {
            std::array<char, 128> value{};
            extract_json_string_field_in_range(text.c_str() + open, text.c_str() + close, key,
                                               value);
            read += std::string(value.data()) + " ";
        }
        position = close + 1;
    }
    EXPECT_EQ(read,
              m_ana.id + " ana ana ana@example.org " + m_eva.id + " eva eva eva@example.org ");
}

// The client looks for the sender, the text and the time from where the last text ended, each by
// itself, and takes what stands there up to the next quote.
TEST_F(RestScan, EachMessageHasItsOwnSenderAndTime) {
    const std::string space = make_space(m_ana);
    join(m_eva, m_ana, space);
    const ChatScope scope{space, general_room(m_ana, space)};
    const std::string spiteful = R"("senderDisplayName":"x","text":"y","createdAt":"z")";
    add_message(*m_database, scope, {m_ana.id, "ana", "uno"}, 1'714'558'830'000);
    add_message(*m_database, scope, {m_eva.id, "eva", spiteful}, 1'714'558'831'000);
    add_message(*m_database, scope, {m_ana.id, "ana", "tres"}, 1'714'558'832'000);
    const std::string text = get_as(m_ana, "/api/chats/room/" + scope.room_id, "&limit=100").text;

    std::string read;
    std::size_t position = text.find("\"messages\":[");
    ASSERT_NE(position, std::string::npos);
    while (true) {
        std::array<std::string, 3> values;
        std::size_t next = std::string::npos;
        bool is_found = true;
        const std::array<std::string, 3> patterns{"\"senderDisplayName\":\"", "\"createdAt\":\"",
                                                  "\"text\":\""};
        for (std::size_t i = 0; i < patterns.size(); ++i) {
            const std::size_t at = text.find(patterns[i], position);
            is_found = is_found && at != std::string::npos;
            if (is_found) {
                const std::size_t begin = at + patterns[i].size();
                next = text.find('"', begin);
                values[i] = text.substr(begin, next - begin);
            }
        }
        if (!is_found) {
            break;
        }
        read += values[0] + " " + values[1].substr(17, 2) + " " + values[2] + "|";
        position = next;
    }
    EXPECT_EQ(read, "ana 30 uno|eva 31 \\|ana 32 tres|");
    EXPECT_EQ(count_json_field_occurrences(text.c_str(), "\"text\":\""), 3);
}

TEST_F(RestScan, PagingStateIsFoundBeforeTheMessages) {
    const std::string space = make_space(m_ana);
    const ChatScope scope{space, general_room(m_ana, space)};
    add_message(*m_database, scope, {m_ana.id, "ana", "\"nextBefore\":\"x\""}, g_test_now);
    add_message(*m_database, scope, {m_ana.id, "ana", "\"nextBefore\":\"x\""}, g_test_now);
    const Reply page = get_as(m_ana, "/api/chats/room/" + scope.room_id, "&limit=1");
    bool has_more = false;
    EXPECT_TRUE(extract_json_bool_field(page.text.c_str(), "hasMore", &has_more));
    EXPECT_TRUE(has_more);
    EXPECT_EQ(scan(page.text, "nextBefore"), page.string("nextBefore"));
    EXPECT_FALSE(page.string("nextBefore").empty());
}

} // namespace
