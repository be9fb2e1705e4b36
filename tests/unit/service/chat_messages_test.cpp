// The chat hub: who hears which message, room events, histories.
#include "unit/service/chat_fixture.h"

#include "service/store/messages.h"
#include "service/store/rooms.h"

#include <set>

namespace {

class ChatMessages : public ChatTest {
  protected:
    ChatMessages() {
        join(m_luis, m_ana, m_space);
        EXPECT_EQ(post_as(m_ana, "/api/spaces/" + m_space + "/invitations",
                          {{"invitedEmail", m_eva.email}})
                      .status,
                  201);
    }
    static Json space_message(const std::string& space, const Json& text) {
        return {{"type", "message:send"}, {"spaceId", space}, {"text", text}};
    }
    static Json room_message(const std::string& room, const Json& text) {
        return {{"type", "message:send"}, {"roomId", room}, {"text", text}};
    }
    void follow_room(ChatClientId client, const std::string& room) {
        heard(client);
        subscribe(client, "roomMessages", {{"roomId", room}});
        EXPECT_EQ(heard_one(client)["type"], "subscribed");
    }
    std::string room_history_texts() {
        std::string all;
        const Reply page = get_as(m_ana, "/api/chats/room/" + m_room);
        for (const Json& message : page.json["messages"]) {
            all += message["text"].get<std::string>() + " ";
        }
        return all;
    }

    const Person m_ana = sign_up("ana@example.org");
    const Person m_luis = sign_up("luis@example.org");
    const Person m_eva = sign_up("eva@example.org"); // invited, and no member
    const std::string m_space = make_space(m_ana);
    const std::string m_room = general_room(m_ana, m_space);
};

// --- Following -----------------------------------------------------------------------------------

TEST_F(ChatMessages, RoomsAreAnsweredWithASnapshotThatNamesTheSpace) {
    const std::string music = make_room(m_ana, m_space, "Música \"1\"");
    const ChatClientId client = connect_as(m_luis);
    subscribe(client, "spaceRooms", {{"spaceId", m_space}, {"sessionToken", m_luis.token}});
    const std::vector<std::string> texts = heard_texts(client);
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0],
              R"({"type":"rooms:snapshot","spaceId":")" + m_space + R"(","rooms":[{"id":")" +
                  m_room + R"(","name":"General","createdByUserId":")" + m_ana.id +
                  R"("},{"id":")" + music + R"(","name":"Música \"1\"","createdByUserId":")" +
                  m_ana.id + R"("}]})");
}

TEST_F(ChatMessages, MembersJoinAndTheInvitedDoNot) {
    const ChatClientId luis = connect_as(m_luis);
    say(luis, {{"type", "chat:join"}, {"spaceId", m_space}});
    EXPECT_EQ(heard_texts(luis),
              std::vector<std::string>{R"({"type":"chat:joined","spaceId":")" + m_space + "\"}"});
    const ChatClientId eva = connect_as(m_eva);
    for (const Json& frame : {Json{{"type", "chat:join"}, {"spaceId", m_space}},
                              Json{{"type", "chat:join"}, {"spaceId", ""}},
                              Json{{"type", "chat:join"}, {"spaceId", m_room}},
                              Json{{"type", "chat:join"}, {"spaceId", "' OR '1'='1"}}}) {
        EXPECT_TRUE(is_refused(eva, frame)) << frame;
    }
}

TEST_F(ChatMessages, StrangersFollowReadAndSayNothing) {
    const ChatClientId eva = connect_as(m_eva);
    const ChatClientId ana = connect_to(m_ana, m_space);
    follow_room(ana, m_room);
    const std::string before = dump();
    const std::vector<Json> frames{
        {{"type", "subscribe"}, {"channel", "spaceRooms"}, {"spaceId", m_space}},
        {{"type", "subscribe"}, {"channel", "spaceMessages"}, {"spaceId", m_space}},
        {{"type", "subscribe"}, {"channel", "roomMessages"}, {"roomId", m_room}},
        {{"type", "messages:history"}, {"spaceId", m_space}},
        {{"type", "messages:history"}, {"roomId", m_room}},
        {{"type", "stream:start"}, {"spaceId", m_space}},
        {{"type", "stream:stop"}, {"spaceId", m_space}},
        {{"type", "stream:watch"}, {"spaceId", m_space}, {"publisherUserId", m_ana.id}},
        {{"type", "stream:unwatch"}, {"spaceId", m_space}, {"publisherUserId", m_ana.id}},
        space_message(m_space, "hola"),
        room_message(m_room, "hola"),
    };
    for (const Json& frame : frames) {
        EXPECT_TRUE(is_refused(eva, frame)) << frame;
    }
    EXPECT_EQ(dump(), before);
    EXPECT_TRUE(heard(ana).empty());
    say(ana, space_message(m_space, "solo para miembros"));
    say(ana, room_message(m_room, "también"));
    make_room(m_ana, m_space, "Otra");
    EXPECT_EQ(types(heard(ana)), "message:new message:new room:created ");
    EXPECT_TRUE(heard(eva).empty());
}

TEST_F(ChatMessages, WhoIsNoMemberAnyLongerHearsThatOnceAndNothingElse) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    const ChatClientId luis = connect_to(m_luis, m_space);
    follow_room(luis, m_room);
    Statement remove(*m_database, "DELETE FROM members WHERE account_id = ?", m_luis.id);
    ASSERT_TRUE(remove.run());
    EXPECT_TRUE(is_refused(luis, space_message(m_space, "¿sigo?")));
    EXPECT_TRUE(heard(ana).empty());
    say(ana, space_message(m_space, "uno"));
    EXPECT_EQ(heard_one(luis)["type"], "error");
    say(ana, space_message(m_space, "dos"));
    say(ana, room_message(m_room, "tres"));
    make_room(m_ana, m_space, "Otra");
    EXPECT_TRUE(heard(luis).empty());
    EXPECT_FALSE(is_closed(luis));
}

// --- Messages ------------------------------------------------------------------------------------

TEST_F(ChatMessages, SpaceMessageIsToldToAllWhoFollowTheSpacesMessagesTheSenderToo) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    const ChatClientId luis = connect_to(m_luis, m_space);
    const ChatClientId luis_again = connect_to(m_luis, m_space);
    const ChatClientId only_rooms = connect_as(m_luis);
    subscribe(only_rooms, "spaceRooms", {{"spaceId", m_space}});
    follow_room(only_rooms, m_room);
    g_test_now += 7;
    say(ana, space_message(m_space, "  ¡Hola\n a   todos!\t"));
    const std::string frame = R"({"type":"message:new","spaceId":")" + m_space +
                              R"(","senderDisplayName":"ana",)"
                              R"("createdAt":"2023-11-14T22:13:20.007Z","text":"¡Hola a todos!"})";
    for (const ChatClientId client : {ana, luis, luis_again}) {
        EXPECT_EQ(heard_texts(client), std::vector<std::string>{frame});
    }
    EXPECT_TRUE(heard(only_rooms).empty());
    EXPECT_EQ(get_as(m_luis, "/api/chats/space/" + m_space).json["messages"].size(), 1U);
}

TEST_F(ChatMessages, RoomMessageIsToldOnceToThoseWhoFollowTheRoomAndNamesTheRoomOnly) {
    const std::string other = make_room(m_ana, m_space, "Otra");
    const ChatClientId ana = connect_to(m_ana, m_space);
    const ChatClientId luis = connect_to(m_luis, m_space);
    follow_room(luis, m_room);
    follow_room(luis, m_room);
    const ChatClientId elsewhere = connect_as(m_luis);
    follow_room(elsewhere, other);
    say(ana, room_message(m_room, "hola"));
    const Json frame = heard_one(luis);
    EXPECT_EQ(frame["roomId"], m_room);
    EXPECT_FALSE(frame.contains("spaceId"));
    EXPECT_EQ(frame["text"], "hola");
    EXPECT_EQ(frame["senderDisplayName"], "ana");
    EXPECT_TRUE(heard(ana).empty()); // she does not follow the room
    EXPECT_TRUE(heard(elsewhere).empty());
    EXPECT_EQ(room_history_texts(), "hola ");
}

TEST_F(ChatMessages, SpacesDoNotHearEachOther) {
    const std::string second = make_space(m_ana, "Otro");
    const std::string second_room = general_room(m_ana, second);
    const ChatClientId here = connect_to(m_ana, m_space);
    follow_room(here, m_room);
    const ChatClientId there = connect_to(m_ana, second);
    follow_room(there, second_room);
    say(here, space_message(m_space, "aquí"));
    say(here, room_message(m_room, "aquí"));
    make_room(m_ana, m_space, "Sala");
    say(here, {{"type", "stream:start"}, {"spaceId", m_space}});
    EXPECT_EQ(types(heard(here)), "message:new message:new room:created stream:status ");
    EXPECT_TRUE(heard(there).empty());
    say(here, space_message(second, "allí"));
    EXPECT_TRUE(heard(here).empty());
    EXPECT_EQ(heard_one(there)["text"], "allí");
}

TEST_F(ChatMessages, MessageIsStoredBeforeAnybodyIsTold) {
    const ChatClientId luis = connect_to(m_luis, m_space);
    ChatHooks hooks;
    int stored_when_told = -1;
    hooks.send = [&](ChatClientId, const std::string& frame) {
        if (frame.find("message:new") != std::string::npos) {
            stored_when_told =
                static_cast<int>(list_messages(*m_database, {m_space, {}}, 0, 10).size());
        }
    };
    hooks.close = [](ChatClientId, WebSocketClose) {};
    hooks.now = [] { return g_test_now; };
    hooks.report = [](const char*) {};
    m_hub = std::make_unique<ChatHub>(*m_database, ChatLimits{}, hooks);
    m_hub->open(luis);
    say(luis, {{"type", "auth"}, {"sessionToken", m_luis.token}});
    subscribe(luis, "spaceMessages", {{"spaceId", m_space}});
    say(luis, space_message(m_space, "hola"));
    EXPECT_EQ(stored_when_told, 1);
}

TEST_F(ChatMessages, TextsAreCleanedAndLimitedAsOverRest) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    for (const Json& text : {Json(""), Json("  \n "), Json("\x01\x02"),
                             Json(std::string(2047, 'x')), Json(5), Json()}) {
        EXPECT_TRUE(is_refused(ana, space_message(m_space, text))) << text;
    }
    say(ana, space_message(m_space, std::string(2046, 'x')));
    EXPECT_EQ(heard_one(ana)["text"].get<std::string>().size(), 2046U);
    say_text(ana,
             R"({"type":"message:send","spaceId":")" + m_space + "\",\"text\":\"una\r\n\tdos \"}");
    EXPECT_EQ(heard_one(ana)["text"], "una dos");
}

TEST_F(ChatMessages, MessageNamesARoomOrASpaceAndNotBoth) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    Json frame = room_message(m_room, "hola");
    frame["spaceId"] = m_space;
    EXPECT_TRUE(is_refused(ana, frame));
    EXPECT_TRUE(is_refused(ana, {{"type", "message:send"}, {"text", "hola"}}));
    for (const Json& no_text : {Json(5), Json(1.5), Json(true), Json()}) {
        frame = space_message(m_space, "hola");
        frame["roomId"] = no_text;
        EXPECT_TRUE(is_refused(ana, frame)) << no_text;
        frame = room_message(m_room, "hola");
        frame["spaceId"] = no_text;
        EXPECT_TRUE(is_refused(ana, frame)) << no_text;
        for (const char* const key : {"roomId", "spaceId"}) {
            frame = {{"type", "message:send"}, {"text", "hola"}, {key, no_text}};
            EXPECT_TRUE(is_refused(ana, frame)) << no_text;
        }
    }
    EXPECT_TRUE(is_refused(ana, room_message(m_space, "hola")));
    EXPECT_TRUE(is_refused(ana, space_message(m_room, "hola")));
    EXPECT_TRUE(is_refused(ana, room_message("x'; DROP TABLE messages; --", "hola")));
    EXPECT_TRUE(is_refused(ana, room_message(std::string(50'000, 'a'), "hola")));
    EXPECT_EQ(room_history_texts(), "");
}

TEST_F(ChatMessages, TextsWithQuotesAndOtherFramesInThemStayTexts) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    for (const std::string text :
         {R"(","spaceId":"x","senderDisplayName":"eva","text":")", R"(dijo "hola" \ y se fue)",
          R"({"type":"auth:ok"})", "'; DROP TABLE messages; --", "\\\"", "\\u0022"}) {
        say(ana, space_message(m_space, text));
        const Json frame = heard_one(ana);
        EXPECT_EQ(frame["text"], text);
        EXPECT_EQ(frame["senderDisplayName"], "ana");
        EXPECT_EQ(frame["spaceId"], m_space);
    }
}

TEST_F(ChatMessages, OrderOfMessagesIsTheSameForAllAndInTheHistory) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    const ChatClientId luis = connect_to(m_luis, m_space);
    std::vector<std::string> sent;
    for (int i = 0; i < 200; ++i) {
        sent.push_back("m" + std::to_string(i));
        say(i % 3 == 0 ? luis : ana, space_message(m_space, sent.back()));
    }
    const std::vector<std::string> heard_by_ana = heard_texts(ana);
    EXPECT_EQ(heard_texts(luis), heard_by_ana);
    ASSERT_EQ(heard_by_ana.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(Json::parse(heard_by_ana[i])["text"], sent[i]);
    }
}

TEST_F(ChatMessages, ClosedConnectionHearsNothing) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    const ChatClientId luis = connect_to(m_luis, m_space);
    m_hub->leave(luis);
    m_hub->leave(luis);
    say(ana, space_message(m_space, "hola"));
    EXPECT_EQ(heard(ana).size(), 1U);
    EXPECT_TRUE(heard(luis).empty());
    say(luis, space_message(m_space, "¿hola?"));
    EXPECT_TRUE(heard(ana).empty());
}

// --- What comes over REST ------------------------------------------------------------------------

TEST_F(ChatMessages, MessageOverRestIsToldAsAnyOther) {
    const ChatClientId luis = connect_to(m_luis, m_space);
    follow_room(luis, m_room);
    EXPECT_EQ(
        post_as(m_ana, "/api/chats/room/" + m_room + "/messages", {{"text", " por REST "}}).status,
        201);
    const Json frame = heard_one(luis);
    EXPECT_EQ(frame["type"], "message:new");
    EXPECT_EQ(frame["roomId"], m_room);
    EXPECT_EQ(frame["senderDisplayName"], "ana");
    EXPECT_EQ(frame["text"], "por REST");
    EXPECT_TRUE(frame["createdAt"].is_string());
    // What is refused is told to nobody.
    EXPECT_EQ(post_as(m_ana, "/api/chats/room/" + m_room + "/messages", {{"text", " "}}).status,
              400);
    EXPECT_EQ(post_as(m_eva, "/api/chats/room/" + m_room + "/messages", {{"text", "x"}}).status,
              403);
    EXPECT_TRUE(heard(luis).empty());
}

TEST_F(ChatMessages, RoomsMadeAndDeletedOverRestAreToldToTheSpace) {
    const ChatClientId luis = connect_to(m_luis, m_space);
    const std::string room = make_room(m_ana, m_space, "Nueva");
    EXPECT_EQ(heard_texts(luis),
              std::vector<std::string>{
                  R"({"type":"room:created","spaceId":")" + m_space + R"(","room":{"id":")" + room +
                  R"(","name":"Nueva","createdByUserId":")" + m_ana.id + R"("}})"});
    follow_room(luis, room);
    const std::string path = "/api/spaces/" + m_space + "/rooms/" + room;
    EXPECT_EQ(remove(path, {{"sessionToken", m_ana.token}, {"confirmName", "Mal"}}).status, 400);
    EXPECT_TRUE(heard(luis).empty());
    EXPECT_EQ(remove(path, {{"sessionToken", m_ana.token}, {"confirmName", "Nueva"}}).status, 200);
    EXPECT_EQ(heard_texts(luis),
              std::vector<std::string>{R"({"type":"room:deleted","spaceId":")" + m_space +
                                       R"(","roomId":")" + room + "\"}"});
    EXPECT_TRUE(is_refused(luis, room_message(room, "¿hola?")));
}

TEST_F(ChatMessages, ChangeThatIsNotKeptIsToldToNobody) {
    open_database(":memory:");
    restart();
    ChatLimits limits;
    start_hub(limits);
    const Person eva = sign_up("eva@example.org");
    const std::string space = make_space(eva);
    const ChatClientId client = connect_to(eva, space);
    // At the end of its transaction, what refers to nobody is refused.
    ASSERT_TRUE(m_database->execute(
        "CREATE TABLE never (id REFERENCES accounts (id) DEFERRABLE INITIALLY DEFERRED);"
        "CREATE TRIGGER at_the_end AFTER INSERT ON rooms"
        " BEGIN INSERT INTO never VALUES ('nobody'); END"));
    RestRequest request;
    request.method = "POST";
    request.path = "/api/spaces/" + space + "/rooms";
    request.content_type = "application/json";
    request.body = R"({"sessionToken":")" + eva.token + R"(","name":"Otra"})";
    int status = 0;
    m_service->handle(request, [&](const RestAnswer& answer) { status = answer.status; });
    EXPECT_EQ(status, 500);
    EXPECT_TRUE(heard(client).empty());
    EXPECT_EQ(list_rooms(*m_database, space).size(), 1U);
}

// --- Histories -----------------------------------------------------------------------------------

TEST_F(ChatMessages, HistoryIsThePageOfRestBehindTheNameOfItsChat) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    say(ana, space_message(m_space, "uno \"dos\""));
    say(ana, space_message(m_space, "tres"));
    say(ana, room_message(m_room, "cuatro"));
    heard(ana);
    say(ana, {{"type", "messages:history"}, {"spaceId", m_space}, {"limit", 100}});
    say(ana, {{"type", "messages:history"}, {"roomId", m_room}});
    const std::vector<std::string> frames = heard_texts(ana);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0], R"({"type":"messages:history","spaceId":")" + m_space + "\"," +
                             get_as(m_ana, "/api/chats/space/" + m_space).text.substr(1));
    EXPECT_EQ(frames[1], R"({"type":"messages:history","roomId":")" + m_room + "\"," +
                             get_as(m_ana, "/api/chats/room/" + m_room).text.substr(1));
}

TEST_F(ChatMessages, EmptyHistoryIsAnEmptyPage) {
    const ChatClientId ana = connect_as(m_ana);
    say(ana, {{"type", "messages:history"}, {"roomId", m_room}, {"limit", 5}});
    EXPECT_EQ(heard_texts(ana),
              std::vector<std::string>{R"({"type":"messages:history","roomId":")" + m_room +
                                       R"(","hasMore":false,"nextBefore":"","messages":[]})"});
}

TEST_F(ChatMessages, LimitsAreBroughtIntoBoundsAndOtherValuesRefused) {
    for (int i = 0; i < 105; ++i) {
        ASSERT_TRUE(add_message(*m_database, {m_space, m_room}, {m_ana.id, "ana", "x"}, 0));
    }
    const ChatClientId ana = connect_as(m_ana);
    const auto size = [&](const Json& limit) {
        say(ana, {{"type", "messages:history"}, {"roomId", m_room}, {"limit", limit}});
        return heard_one(ana)["messages"].size();
    };
    EXPECT_EQ(size(7), 7U);
    EXPECT_EQ(size(0), 1U);
    EXPECT_EQ(size(-5), 1U);
    EXPECT_EQ(size(1000), 100U);
    EXPECT_EQ(size(std::int64_t{1} << 62), 100U);
    for (const Json& limit : {Json("7"), Json(1.5), Json(true), Json(),
                              Json(std::numeric_limits<std::uint64_t>::max())}) {
        EXPECT_TRUE(
            is_refused(ana, {{"type", "messages:history"}, {"roomId", m_room}, {"limit", limit}}))
            << limit;
    }
    for (const Json& before : {Json(""), Json("x"), Json("m"), Json("m0"), Json("m-1"), Json("1"),
                               Json("m1 "), Json("' OR 1=1"), Json(5), Json(true), Json()}) {
        EXPECT_TRUE(
            is_refused(ana, {{"type", "messages:history"}, {"roomId", m_room}, {"before", before}}))
            << before;
    }
}

TEST_F(ChatMessages, WholeFrameFitsAClientsBuffer) {
    const std::string longest(2046, '"'); // twice as long when it is escaped
    for (int i = 0; i < 60; ++i) {
        ASSERT_TRUE(add_message(*m_database, {m_space, {}}, {m_ana.id, "ana", longest}, 0));
    }
    const ChatClientId ana = connect_to(m_ana, m_space);
    std::size_t seen = 0;
    std::string before;
    do {
        Json frame{{"type", "messages:history"}, {"spaceId", m_space}, {"limit", 100}};
        if (!before.empty()) {
            frame["before"] = before;
        }
        say(ana, frame);
        const std::string text = heard_texts(ana).at(0);
        EXPECT_LT(text.size(), 65'535U);
        seen += Json::parse(text)["messages"].size();
        before = Json::parse(text)["nextBefore"].get<std::string>();
    } while (!before.empty());
    EXPECT_EQ(seen, 60U);
}

TEST_F(ChatMessages, PagesHaveNoGapAndNothingTwiceWhileOthersGoOnTalking) {
    const ChatClientId ana = connect_to(m_ana, m_space);
    const ChatClientId luis = connect_to(m_luis, m_space);
    for (int i = 0; i < 1000; ++i) {
        say(luis, room_message(m_room, "m" + std::to_string(i)));
    }
    int newer = 1000;
    std::vector<std::string> pages; // newest first
    std::string before;
    do {
        Json frame{{"type", "messages:history"}, {"roomId", m_room}, {"limit", 37}};
        if (!before.empty()) {
            frame["before"] = before;
        }
        say(ana, frame);
        const Json page = heard_one(ana);
        for (auto one = page["messages"].rbegin(); one != page["messages"].rend(); ++one) {
            pages.push_back((*one)["text"]);
        }
        before = page["nextBefore"].get<std::string>();
        EXPECT_EQ(page["hasMore"].get<bool>(), !before.empty());
        say(luis, room_message(m_room, "m" + std::to_string(newer++)));
    } while (!before.empty());
    ASSERT_EQ(pages.size(), 1000U);
    for (std::size_t i = 0; i < pages.size(); ++i) {
        EXPECT_EQ(pages[i], "m" + std::to_string(999 - i));
    }
}

} // namespace
