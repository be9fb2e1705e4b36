// Chats: histories, pages, the message that comes over REST.
#include "unit/service/rest_fixture.h"

#include "service/store/messages.h"

namespace {

class RestChats : public RestTest {
  protected:
    std::string room_path() const { return "/api/chats/room/" + m_room; }
    Reply say(const Person& person, const Json& text) {
        return post_as(person, room_path() + "/messages", {{"text", text}});
    }
    Reply page(const std::string& more = {}) { return get_as(m_ana, room_path(), more); }
    /// Straight into the store.
    void write(const ChatScope& scope, const std::string& text) {
        ASSERT_TRUE(add_message(*m_database, scope, {m_ana.id, "ana", text}, g_test_now));
    }
    void write_many(int count) {
        for (int i = 0; i < count; ++i) {
            write({m_space, m_room}, "m" + std::to_string(i));
        }
    }
    static std::string texts(const Reply& reply) {
        std::string all;
        for (const Json& message : reply.json["messages"]) {
            all += message["text"].get<std::string>() + " ";
        }
        return all;
    }

    const Person m_ana = sign_up("ana@example.org");
    const Person m_eva = sign_up("eva@example.org");
    const std::string m_space = make_space(m_ana);
    const std::string m_room = general_room(m_ana, m_space);
};

TEST_F(RestChats, MessageIsAnsweredWith201AndStandsInTheHistory) {
    g_test_now += 7;
    EXPECT_EQ(say(m_ana, "¡Hola!").status, 201);
    const std::string message =
        R"({"senderDisplayName":"ana","createdAt":"2023-11-14T22:13:20.007Z","text":"¡Hola!"})";
    EXPECT_EQ(page().text, R"({"hasMore":false,"nextBefore":"","messages":[)" + message + "]}");
}

TEST_F(RestChats, EmptyHistoryIsAnEmptyPage) {
    EXPECT_EQ(page().text, R"({"hasMore":false,"nextBefore":"","messages":[]})");
}

TEST_F(RestChats, PagesGoFromTheNewestBackAndEachIsInOrder) {
    write_many(5);
    const Reply newest = page("&limit=2");
    EXPECT_EQ(texts(newest), "m3 m4 ");
    EXPECT_EQ(newest.json["hasMore"], true);
    const Reply older = page("&limit=2&before=" + newest.string("nextBefore"));
    EXPECT_EQ(texts(older), "m1 m2 ");
    const Reply oldest = page("&limit=2&before=" + older.string("nextBefore"));
    EXPECT_EQ(texts(oldest), "m0 ");
    EXPECT_EQ(oldest.json["hasMore"], false);
    EXPECT_EQ(oldest.string("nextBefore"), "");
    EXPECT_LT(newest.string("nextBefore").size(), 64U);
}

TEST_F(RestChats, PageThatEndsWithTheHistoryHasNoMore) {
    write_many(2);
    EXPECT_EQ(page("&limit=2").json["hasMore"], false);
    EXPECT_EQ(page("&limit=1").json["hasMore"], true);
}

TEST_F(RestChats, OneHundredMessagesAtMostAndByDefault) {
    write_many(105);
    EXPECT_EQ(page().json["messages"].size(), 100U);
    EXPECT_EQ(page("&limit=1000").json["messages"].size(), 100U);
    EXPECT_EQ(page("&limit=0").json["messages"].size(), 1U);
    EXPECT_EQ(page("&limit=-5").json["messages"].size(), 1U);
    EXPECT_TRUE(texts(page()).starts_with("m5 "));
}

TEST_F(RestChats, BadLimitsAndCursorsAre400) {
    write_many(3);
    for (const char* const more :
         {"&limit=x", "&limit=", "&limit=1x", "&limit=99999999999999999999", "&before=x",
          "&before=", "&before=1", "&before=m", "&before=m0", "&before=m-1", "&before=m1%20",
          "&before=m99999999999999999999", "&before=%27%20OR%201=1"}) {
        EXPECT_EQ(page(more).status, 400) << more;
    }
}

TEST_F(RestChats, PageOfLongMessagesIsShorterAndNothingIsLostBetweenPages) {
    for (int i = 0; i < 60; ++i) {
        write({m_space, m_room}, std::to_string(i) + std::string(2000, '"'));
    }
    std::size_t seen = 0;
    std::string more;
    for (int pages = 0; pages < 10; ++pages) {
        const Reply reply = page(more);
        EXPECT_LE(reply.text.size(), 60'000U);
        const Json& messages = reply.json["messages"];
        ASSERT_FALSE(messages.empty());
        seen += messages.size();
        EXPECT_TRUE(messages[0]["text"].get<std::string>().starts_with(std::to_string(60 - seen)));
        if (!reply.json["hasMore"].get<bool>()) {
            break;
        }
        more = "&before=" + reply.string("nextBefore");
    }
    EXPECT_EQ(seen, 60U);
}

TEST_F(RestChats, SpaceHasAChatOfItsOwn) {
    write({m_space, {}}, "del espacio");
    write({m_space, m_room}, "de la sala");
    EXPECT_EQ(texts(get_as(m_ana, "/api/chats/space/" + m_space)), "del espacio ");
    EXPECT_EQ(texts(page()), "de la sala ");
}

TEST_F(RestChats, ChatsAreForMembersOnly) {
    const std::string space_path = "/api/chats/space/" + m_space;
    EXPECT_EQ(get_as(m_eva, room_path()).status, 403);
    EXPECT_EQ(get_as(m_eva, space_path).status, 403);
    EXPECT_EQ(say(m_eva, "hola").status, 403);
    EXPECT_EQ(get(room_path()).status, 401);
    EXPECT_EQ(get(space_path).status, 401);
    EXPECT_EQ(get_as(m_ana, "/api/chats/room/" + random_id()).status, 404);
    EXPECT_EQ(get_as(m_ana, "/api/chats/space/" + random_id()).status, 404);
    EXPECT_EQ(get_as(m_ana, "/api/chats/room/" + m_space).status, 404);
    EXPECT_EQ(get_as(m_ana, "/api/chats/other/" + m_space).status, 404);
    join(m_eva, m_ana, m_space);
    EXPECT_EQ(say(m_eva, "hola").status, 201);
    EXPECT_EQ(get_as(m_eva, room_path()).status, 200);
    EXPECT_EQ(get_as(m_eva, space_path).status, 200);
}

TEST_F(RestChats, MessagesStandOnOneLine) {
    EXPECT_EQ(say(m_ana, " una\n dos\t\ttres\x7F"
                         "cuatro\xE2\x80\xA8"
                         "cinco ")
                  .status,
              201);
    EXPECT_EQ(texts(page()), "una dos tres cuatro cinco ");
}

TEST_F(RestChats, EmptyAndTooLongMessagesAre400) {
    for (const Json& text : {Json(""), Json("  \n "), Json("\x01\x02"),
                             Json(std::string(2047, 'x')), Json(5), Json()}) {
        EXPECT_EQ(say(m_ana, text).status, 400);
    }
    EXPECT_EQ(post_as(m_ana, room_path() + "/messages").status, 400);
    EXPECT_EQ(say(m_ana, std::string(2046, 'x')).status, 201);
}

// A client's buffers end at a byte, wherever that lies.
TEST_F(RestChats, MessageCutInsideItsLastCharacterLosesThatCharacter) {
    const std::string body =
        R"({"sessionToken":")" + m_ana.token + "\",\"text\":\"hola \xF0\x9F\x98\"}";
    EXPECT_EQ(send_body("POST", room_path() + "/messages", body).status, 201);
    EXPECT_EQ(texts(page()), "hola ");
}

TEST_F(RestChats, OtherBytesThatAreNoUtf8Are400) {
    for (const char* const bytes : {"\xFF", "a\xC3(b", "\xED\xA0\x80x", "\xC0\xAF"}) {
        const std::string body =
            R"({"sessionToken":")" + m_ana.token + "\",\"text\":\"" + bytes + " \"}";
        EXPECT_EQ(send_body("POST", room_path() + "/messages", body).status, 400);
    }
}

} // namespace
