// The chat answers as the client reads them: with its scanners, which know no JSON.
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

    const Person m_ana = sign_up("ana@example.org");
    const Person m_eva = sign_up("eva@example.org");
};

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
