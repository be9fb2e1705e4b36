// Rooms: listing, making, deleting.
#include "unit/service/rest_fixture.h"

namespace {

class RestRooms : public RestTest {
  protected:
    std::string rooms_path() const { return "/api/spaces/" + m_space + "/rooms"; }
    Reply make(const Person& person, const Json& name) {
        return post_as(person, rooms_path(), {{"name", name}});
    }
    Reply erase(const Person& person, const std::string& room, const std::string& confirmation) {
        return remove(rooms_path() + "/" + room,
                      {{"sessionToken", person.token}, {"confirmName", confirmation}});
    }
    std::size_t count() { return get_as(m_ana, rooms_path()).json["rooms"].size(); }

    const Person m_ana = sign_up("ana@example.org");
    const Person m_eva = sign_up("eva@example.org");
    const std::string m_space = make_space(m_ana);
};

TEST_F(RestRooms, NewRoomIsAnsweredWith201AndListedLast) {
    const Reply made = make(m_ana, " Música ");
    EXPECT_EQ(made.status, 201);
    EXPECT_EQ(made.string("name"), "Música");
    EXPECT_EQ(made.string("createdByUserId"), m_ana.id);
    const Json rooms = get_as(m_ana, rooms_path()).json["rooms"];
    ASSERT_EQ(rooms.size(), 2U);
    EXPECT_EQ(rooms[0]["name"], "General");
    EXPECT_EQ(rooms[1], made.json);
}

TEST_F(RestRooms, OnlyTheOwnerMakesAndDeletes) {
    const std::string room = make_room(m_ana, m_space, "Música");
    EXPECT_EQ(make(m_eva, "Otra").status, 403);
    EXPECT_EQ(erase(m_eva, room, "Música").status, 403);
    join(m_eva, m_ana, m_space);
    EXPECT_EQ(make(m_eva, "Otra").status, 403);
    EXPECT_EQ(erase(m_eva, room, "Música").status, 403);
    EXPECT_EQ(count(), 2U);
}

TEST_F(RestRooms, OnlyMembersListThem) {
    EXPECT_EQ(get_as(m_eva, rooms_path()).status, 403);
    EXPECT_EQ(get(rooms_path()).status, 401);
    EXPECT_EQ(get_as(m_ana, "/api/spaces/" + random_id() + "/rooms").status, 404);
    join(m_eva, m_ana, m_space);
    EXPECT_EQ(get_as(m_eva, rooms_path()).status, 200);
}

TEST_F(RestRooms, BadNamesAre400) {
    for (const Json& name : {Json(""), Json("a"), Json(std::string(65, 'a')), Json(5), Json()}) {
        EXPECT_EQ(make(m_ana, name).status, 400) << name;
    }
    EXPECT_EQ(post_as(m_ana, rooms_path()).status, 400);
}

TEST_F(RestRooms, ThirtyThirdRoomIs409) {
    for (int i = 1; i < 32; ++i) {
        EXPECT_EQ(make(m_ana, std::string(62, '"') + std::to_string(10 + i)).status, 201);
    }
    EXPECT_EQ(make(m_ana, "Una de más").status, 409);
    const Reply list = get_as(m_ana, rooms_path());
    EXPECT_EQ(list.json["rooms"].size(), 32U);
    EXPECT_LT(list.text.size(), 16'000U);
}

TEST_F(RestRooms, DeletingNeedsTheExactName) {
    const std::string room = make_room(m_ana, m_space, "Música");
    for (const char* const typed : {"", "música", "Música ", "Musica"}) {
        EXPECT_EQ(erase(m_ana, room, typed).status, 400) << typed;
    }
    EXPECT_EQ(remove(rooms_path() + "/" + room, {{"sessionToken", m_ana.token}}).status, 400);
    EXPECT_EQ(count(), 2U);
    EXPECT_EQ(erase(m_ana, room, "Música").status, 200);
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(erase(m_ana, room, "Música").status, 404);
}

// A client's field holds 63 bytes of a name.
TEST_F(RestRooms, LongestNameIsConfirmedByWhatTheClientHoldsOfIt) {
    const std::string name(64, 'a');
    const std::string room = make_room(m_ana, m_space, name);
    EXPECT_EQ(erase(m_ana, room, name.substr(0, 62)).status, 400);
    EXPECT_EQ(erase(m_ana, room, name.substr(0, 63)).status, 200);
}

TEST_F(RestRooms, ANameCutWithinACharacterIsConfirmedToo) {
    for (const std::string& name : {std::string(62, 'a') + "ñb", std::string(61, 'a') + "€b"}) {
        const std::string room = make_room(m_ana, m_space, name);
        // As the client sends it, byte by byte.
        const auto erase_by = [&](const std::string& typed) {
            return send_body("DELETE", rooms_path() + "/" + room,
                             R"({"sessionToken":")" + m_ana.token + R"(","confirmName":")" + typed +
                                 R"("})");
        };
        EXPECT_EQ(erase_by(name.substr(0, 60)).status, 400);
        EXPECT_EQ(erase_by(name.substr(0, 63)).status, 200);
    }
}

TEST_F(RestRooms, GeneralRoomStays) {
    EXPECT_EQ(erase(m_ana, general_room(m_ana, m_space), "General").status, 409);
    EXPECT_EQ(count(), 1U);
    // Another of that name is a room like any other.
    EXPECT_EQ(erase(m_ana, make_room(m_ana, m_space, "General"), "General").status, 200);
}

TEST_F(RestRooms, RoomOfAnotherSpaceIs404) {
    const std::string other = make_space(m_ana, "Otro");
    const std::string room = make_room(m_ana, other, "Música");
    EXPECT_EQ(erase(m_ana, room, "Música").status, 404);
    const std::string evas = make_space(m_eva);
    const std::string evas_room = make_room(m_eva, evas, "Música");
    EXPECT_EQ(erase(m_ana, evas_room, "Música").status, 404);
    EXPECT_EQ(get_as(m_eva, "/api/spaces/" + evas + "/rooms").json["rooms"].size(), 2U);
}

TEST_F(RestRooms, MessagesGoWithTheirRoom) {
    const std::string room = make_room(m_ana, m_space, "Música");
    const std::string path = "/api/chats/room/" + room;
    EXPECT_EQ(post_as(m_ana, path + "/messages", {{"text", "secreto de sala"}}).status, 201);
    EXPECT_NE(dump().find("secreto de sala"), std::string::npos);
    EXPECT_EQ(erase(m_ana, room, "Música").status, 200);
    EXPECT_EQ(get_as(m_ana, path).status, 404);
    EXPECT_EQ(dump().find("secreto de sala"), std::string::npos);
}

} // namespace
