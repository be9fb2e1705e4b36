// The chat hub: who streams in a space, and who is told.
#include "unit/service/chat_fixture.h"

namespace {

class ChatStreams : public ChatTest {
  protected:
    ChatStreams() { join(m_luis, m_ana, m_space); }

    ChatClientId joined(const Person& person) {
        const ChatClientId client = connect_as(person);
        say(client, {{"type", "chat:join"}, {"spaceId", m_space}});
        EXPECT_EQ(heard(client).front()["type"], "chat:joined");
        return client;
    }
    void start(ChatClientId client) {
        say(client, {{"type", "stream:start"}, {"spaceId", m_space}});
    }
    void stop(ChatClientId client) { say(client, {{"type", "stream:stop"}, {"spaceId", m_space}}); }
    std::string status(const Person& publisher, bool is_streaming) const {
        return R"({"type":"stream:status","spaceId":")" + m_space + R"(","publisherUserId":")" +
               publisher.id + R"(","isStreaming":)" + (is_streaming ? "true}" : "false}");
    }
    using Texts = std::vector<std::string>;

    const Person m_ana = sign_up("ana@example.org");
    const Person m_luis = sign_up("luis@example.org");
    const std::string m_space = make_space(m_ana);
};

TEST_F(ChatStreams, StartAndStopAreToldOnceToAllWhoFollowTheSpace) {
    const ChatClientId ana = joined(m_ana);
    const ChatClientId luis = connect_to(m_luis, m_space);
    say(luis, {{"type", "chat:join"}, {"spaceId", m_space}}); // follows it twice over
    const ChatClientId luis_again = joined(m_luis);
    const ChatClientId only_rooms = connect_as(m_luis);
    subscribe(only_rooms, "spaceRooms", {{"spaceId", m_space}});
    heard(luis);
    heard(only_rooms);
    start(ana);
    for (const ChatClientId client : {ana, luis, luis_again}) {
        EXPECT_EQ(heard_texts(client), Texts{status(m_ana, true)});
    }
    stop(ana);
    for (const ChatClientId client : {ana, luis, luis_again}) {
        EXPECT_EQ(heard_texts(client), Texts{status(m_ana, false)});
    }
    EXPECT_TRUE(heard(only_rooms).empty());
}

TEST_F(ChatStreams, SecondPublisherIsRefusedAndToldWhoStreams) {
    const ChatClientId ana = joined(m_ana);
    const ChatClientId luis = joined(m_luis);
    start(ana);
    heard(ana);
    heard(luis);
    start(luis);
    const Texts answer = heard_texts(luis);
    ASSERT_EQ(answer.size(), 2U);
    EXPECT_EQ(Json::parse(answer[0])["type"], "error");
    EXPECT_EQ(answer[1], status(m_ana, true));
    EXPECT_TRUE(heard(ana).empty());
    stop(luis); // who does not stream
    EXPECT_EQ(heard_texts(luis), Texts{status(m_ana, true)});
    stop(ana);
    start(luis);
    EXPECT_EQ(heard_texts(ana), (Texts{status(m_ana, false), status(m_luis, true)}));
}

TEST_F(ChatStreams, StartingTwiceIsOneStream) {
    const ChatClientId ana = joined(m_ana);
    const ChatClientId luis = joined(m_luis);
    start(ana);
    start(ana);
    EXPECT_EQ(heard_texts(ana), (Texts{status(m_ana, true), status(m_ana, true)}));
    EXPECT_EQ(heard_texts(luis), Texts{status(m_ana, true)});
    stop(ana);
    stop(ana);
    EXPECT_EQ(heard_texts(luis), Texts{status(m_ana, false)});
}

TEST_F(ChatStreams, NewcomersAreToldWhoStreams) {
    const ChatClientId ana = joined(m_ana);
    start(ana);
    const ChatClientId luis = connect_as(m_luis);
    subscribe(luis, "spaceMessages", {{"spaceId", m_space}});
    EXPECT_EQ(heard_texts(luis).back(), status(m_ana, true));
    say(luis, {{"type", "chat:join"}, {"spaceId", m_space}});
    EXPECT_EQ(heard_texts(luis).back(), status(m_ana, true));
}

// A publisher that had to connect anew has to learn that the stream has ended.
TEST_F(ChatStreams, NewcomersAreToldThatTheyDoNotStream) {
    const ChatClientId luis = connect_as(m_luis);
    subscribe(luis, "spaceMessages", {{"spaceId", m_space}});
    EXPECT_EQ(heard_texts(luis).back(), status(m_luis, false));
}

TEST_F(ChatStreams, EndsWithItsPublishersLastConnectionToTheSpace) {
    const ChatClientId ana = joined(m_ana);
    const ChatClientId ana_again = connect_to(m_ana, m_space);
    const ChatClientId ana_elsewhere = connect_as(m_ana);
    const ChatClientId luis = joined(m_luis);
    start(ana);
    heard(luis);
    m_hub->leave(ana);
    m_hub->leave(ana_elsewhere);
    EXPECT_TRUE(heard(luis).empty());
    m_hub->leave(ana_again);
    EXPECT_EQ(heard_texts(luis), Texts{status(m_ana, false)});
    start(luis);
    EXPECT_EQ(heard_texts(luis), Texts{status(m_luis, true)});
}

TEST_F(ChatStreams, ListenersWhoLeaveEndNothing) {
    const ChatClientId ana = joined(m_ana);
    const ChatClientId luis = joined(m_luis);
    start(ana);
    heard(ana);
    m_hub->leave(luis);
    EXPECT_TRUE(heard(ana).empty());
}

TEST_F(ChatStreams, EndsWithTheSessionOfItsPublisher) {
    const ChatClientId ana = joined(m_ana);
    start(ana);
    g_test_now += WallTime{29} * 24 * 60 * 60 * 1000;
    post_as(m_luis, "/api/auth/session/restore");
    const ChatClientId luis = joined(m_luis);
    heard(luis);
    g_test_now += WallTime{2} * 24 * 60 * 60 * 1000;
    m_hub->check_session(ana);
    EXPECT_TRUE(is_closed(ana));
    EXPECT_EQ(heard_texts(luis), Texts{status(m_ana, false)});
}

TEST_F(ChatStreams, EndsWhenItsPublisherIsNoMemberAnyLonger) {
    const ChatClientId luis = joined(m_luis);
    const ChatClientId ana = connect_to(m_ana, m_space);
    start(luis);
    heard(ana);
    Statement remove(*m_database, "DELETE FROM members WHERE account_id = ?", m_luis.id);
    ASSERT_TRUE(remove.run());
    say(ana, {{"type", "message:send"}, {"spaceId", m_space}, {"text", "hola"}});
    EXPECT_EQ(types(heard(ana)), "message:new "); // not yet: luis follows no messages
    m_hub->leave(luis);
    EXPECT_EQ(heard_texts(ana), Texts{status(m_luis, false)});
}

TEST_F(ChatStreams, OfSomebodyWhoIsNoMemberAnyLongerGivesWayToTheNext) {
    const ChatClientId luis = joined(m_luis);
    const ChatClientId ana = connect_to(m_ana, m_space);
    start(luis);
    heard(ana);
    heard(luis);
    Statement remove(*m_database, "DELETE FROM members WHERE account_id = ?", m_luis.id);
    ASSERT_TRUE(remove.run());
    start(ana);
    EXPECT_EQ(heard_texts(ana), (Texts{status(m_luis, false), status(m_ana, true)}));
    EXPECT_EQ(types(heard(luis)), "error ");
    m_hub->leave(luis);
    EXPECT_TRUE(heard(ana).empty()) << "it is hers now";
}

TEST_F(ChatStreams, DatabaseThatCannotTellOfItsPublisherEndsNone) {
    const ChatClientId luis = joined(m_luis);
    const ChatClientId ana = joined(m_ana);
    start(luis);
    heard(luis);
    // Ana's row is read before Luis's, which cannot be computed; the + keeps indices out of it.
    ASSERT_TRUE(m_database->execute("ALTER TABLE members RENAME TO elsewhere"));
    ASSERT_TRUE(m_database->execute(
        ("CREATE VIEW members AS SELECT +space_id AS space_id, CASE account_id WHEN '" + m_luis.id +
         "' THEN abs(-9223372036854775807 - 1) ELSE account_id END"
         " AS account_id FROM elsewhere")
            .c_str()));
    EXPECT_TRUE(is_refused(ana, {{"type", "stream:start"}, {"spaceId", m_space}}));
    ASSERT_TRUE(m_database->execute("DROP VIEW members"));
    ASSERT_TRUE(m_database->execute("ALTER TABLE elsewhere RENAME TO members"));
    EXPECT_EQ(g_reports.size(), 1U);
    EXPECT_TRUE(heard(luis).empty());
    stop(luis);
    EXPECT_EQ(heard_texts(ana), Texts{status(m_luis, false)});
}

TEST_F(ChatStreams, WatchingIsTakenWithoutAWordWhileThereIsAStream) {
    const ChatClientId ana = joined(m_ana);
    const ChatClientId luis = joined(m_luis);
    start(ana);
    heard(ana);
    heard(luis);
    const auto watch = [&](const char* type, const Json& publisher) {
        say(luis, {{"type", type}, {"spaceId", m_space}, {"publisherUserId", publisher}});
    };
    watch("stream:watch", m_ana.id);
    watch("stream:unwatch", m_ana.id);
    EXPECT_TRUE(heard(luis).empty());
    EXPECT_TRUE(heard(ana).empty());
    stop(ana);
    heard(luis);
    watch("stream:watch", m_ana.id);
    const Texts answer = heard_texts(luis);
    ASSERT_EQ(answer.size(), 2U);
    EXPECT_EQ(answer[1], status(m_ana, false));
    for (const Json& publisher : {Json("x"), Json(""), Json("' OR 1=1"), Json(5), Json()}) {
        watch("stream:watch", publisher);
        EXPECT_EQ(heard_one(luis)["type"], "error") << publisher;
    }
}

} // namespace
