// The hub's tables after a load: which elements count, what their records hold, what the selection
// becomes, and who hears of it.
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "unit/backend/calls_fixture.h"

#include <string>

namespace {

int g_spaces_loaded = 0;
int g_rooms_loaded = 0;
int g_members_loaded = 0;

class SpacesTables : public CallsTest {
  protected:
    SpacesTables() {
        g_spaces_loaded = g_rooms_loaded = g_members_loaded = 0;
        Backend_SetSpacesLoadedCallback([] { ++g_spaces_loaded; });
        Backend_SetRoomsLoadedCallback([] { ++g_rooms_loaded; });
        Backend_SetMembersLoadedCallback([] { ++g_members_loaded; });
    }

    void load_spaces(const std::string& answer) {
        web.answer(200, answer);
        EXPECT_TRUE(backend_load_spaces(error));
    }
    void load_rooms(const std::string& answer) {
        web.answer(200, answer);
        EXPECT_TRUE(backend_load_rooms("s1", error));
    }
    void load_members(const std::string& answer) {
        web.answer(200, answer);
        EXPECT_TRUE(backend_load_space_members("s1", error));
    }
};

/// {"KEY":[ELEMENT with 0, ELEMENT with 1, ...]}; an "@" in the element takes its number.
std::string list_of(const char* key, int count, const std::string& element) {
    std::string text = std::string("{\"") + key + "\":[";
    for (int i = 0; i < count; ++i) {
        std::string one = element;
        for (std::size_t at = 0; (at = one.find('@')) != std::string::npos;) {
            one.replace(at, 1, std::to_string(i));
        }
        text += (i > 0 ? "," : "") + one;
    }
    return text + "]}";
}

TEST_F(SpacesTables, ASpaceTakesEveryFieldOfItsElement) {
    load_spaces(R"({"spaces":[{"id":"s1","name":"Casa","inviteCode":"ABCD","hasImage":true,)"
                R"("imageUrl":"/i/1","description":"Una casa","knownBy":"invited",)"
                R"("adminUserId":"u1","invitationStatus":"pending","invitationId":"i1"}]})");
    ASSERT_EQ(g_hub_server_count, 1);
    const HubSpace& space = g_hub_servers[0];
    EXPECT_STREQ(space.id, "s1");
    EXPECT_STREQ(space.name, "Casa");
    EXPECT_STREQ(space.inviteCode, "ABCD");
    EXPECT_TRUE(space.hasImage);
    EXPECT_STREQ(space.imageUrl, "/i/1");
    EXPECT_STREQ(space.description, "Una casa");
    EXPECT_STREQ(space.role, "invited");
    EXPECT_STREQ(space.adminUserId, "u1");
    EXPECT_STREQ(space.invitationStatus, "pending");
    EXPECT_STREQ(space.invitationId, "i1");
    EXPECT_TRUE(space.listed);
    EXPECT_EQ(space.unused_first, -1);
    EXPECT_EQ(space.unused_second, -1);
    EXPECT_FALSE(space.roomsCached);
    EXPECT_FALSE(space.roomsCacheValid);
    EXPECT_EQ(space.cachedRoomCount, 0);
}

TEST_F(SpacesTables, ASpaceTakesTheOtherNamesOfItsFields) {
    load_spaces(R"([{"_id":"s1","spaceName":"Casa","ownerUserId":"u1"}])");
    ASSERT_EQ(g_hub_server_count, 1);
    EXPECT_STREQ(g_hub_servers[0].id, "s1");
    EXPECT_STREQ(g_hub_servers[0].name, "Casa");
    EXPECT_STREQ(g_hub_servers[0].adminUserId, "u1");
}

TEST_F(SpacesTables, TheFirstNamesOfFieldsComeBeforeTheOthers) {
    load_spaces(R"([{"_id":"b","id":"a","spaceName":"B","name":"A",)"
                R"("ownerUserId":"y","adminUserId":"x"}])");
    ASSERT_EQ(g_hub_server_count, 1);
    EXPECT_STREQ(g_hub_servers[0].id, "a");
    EXPECT_STREQ(g_hub_servers[0].name, "A");
    EXPECT_STREQ(g_hub_servers[0].adminUserId, "x");
}

TEST_F(SpacesTables, FieldsThatLackAreEmptyWhateverTheRecordHeldBefore) {
    load_spaces(R"([{"id":"s1","name":"A","inviteCode":"C","hasImage":true,"imageUrl":"/i",)"
                R"("description":"d","adminUserId":"u","invitationStatus":"pending",)"
                R"("invitationId":"i"}])");
    g_hub_servers[0].roomsCached = true;
    g_hub_servers[0].roomsCacheValid = true;
    g_hub_servers[0].cachedRoomCount = 5;
    load_spaces(R"([{"id":"s2","name":"B"}])");
    const HubSpace& space = g_hub_servers[0];
    EXPECT_STREQ(space.inviteCode, "");
    EXPECT_FALSE(space.hasImage);
    EXPECT_STREQ(space.imageUrl, "");
    EXPECT_STREQ(space.description, "");
    EXPECT_STREQ(space.adminUserId, "");
    EXPECT_STREQ(space.invitationStatus, "");
    EXPECT_STREQ(space.invitationId, "");
    EXPECT_FALSE(space.roomsCached);
    EXPECT_FALSE(space.roomsCacheValid);
    EXPECT_EQ(space.cachedRoomCount, 0);
}

TEST_F(SpacesTables, OnlyTrueIsAnImage) {
    for (const char* value : {"false", "1", "\"true\"", "null"}) {
        load_spaces(std::string(R"([{"id":"s","name":"n","hasImage":)") + value + "}]");
        EXPECT_FALSE(g_hub_servers[0].hasImage) << value;
    }
}

TEST_F(SpacesTables, TheRoleOfTheAdministratorIsOwner) {
    load_spaces(R"([{"id":"1","name":"n","adminUserId":"me","knownBy":"invited"},)"
                R"({"id":"2","name":"n","ownerUserId":"me"},)"
                R"({"id":"3","name":"n","adminUserId":"me2","knownBy":"guest"},)"
                R"({"id":"4","name":"n"},)"
                R"({"id":"5","name":"n","knownBy":"owner"}])");
    ASSERT_EQ(g_hub_server_count, 5);
    EXPECT_STREQ(g_hub_servers[0].role, "owner");
    EXPECT_STREQ(g_hub_servers[1].role, "owner");
    EXPECT_STREQ(g_hub_servers[2].role, "guest");
    EXPECT_STREQ(g_hub_servers[3].role, "member");
    EXPECT_STREQ(g_hub_servers[4].role, "owner");
}

TEST_F(SpacesTables, NobodyWithoutAnIdentifierIsAnOwner) {
    copy_text(g_user_id, "");
    load_spaces(R"([{"id":"1","name":"n","adminUserId":""},{"id":"2","name":"n"}])");
    EXPECT_STREQ(g_hub_servers[0].role, "member");
    EXPECT_STREQ(g_hub_servers[1].role, "member");
}

TEST_F(SpacesTables, SpacesWithoutIdentifierOrNameAreSkipped) {
    load_spaces(R"({"spaces":[{"name":"A"},{"id":"1"},{"id":"","name":"B"},{"id":"2","name":""},)"
                R"({"id":3,"name":"C"},{},{"id":"4","name":"D"}]})");
    ASSERT_EQ(g_hub_server_count, 1);
    EXPECT_STREQ(g_hub_servers[0].id, "4");
}

TEST_F(SpacesTables, TheFirstSpaceOfAnIdentifierCounts) {
    load_spaces(R"([{"id":"1","name":"A"},{"id":"2","name":"B"},{"id":"1","name":"C"},)"
                R"({"_id":"2","name":"D"}])");
    ASSERT_EQ(g_hub_server_count, 2);
    EXPECT_STREQ(g_hub_servers[0].name, "A");
    EXPECT_STREQ(g_hub_servers[1].name, "B");
}

TEST_F(SpacesTables, IdentifiersThatAreCutToTheSameTextAreTheSame) {
    const std::string id(127, 'i');
    load_spaces("[" + json_object({{"id", id + "1"}, {"name", "A"}}) + "," +
                json_object({{"id", id + "2"}, {"name", "B"}}) + "]");
    ASSERT_EQ(g_hub_server_count, 1);
    EXPECT_EQ(g_hub_servers[0].id, id);
}

TEST_F(SpacesTables, OfFortySpacesTheFirst32AreKept) {
    load_spaces(list_of("spaces", 40, R"({"id":"s@","name":"n@"})"));
    ASSERT_EQ(g_hub_server_count, 32);
    EXPECT_STREQ(g_hub_servers[0].id, "s0");
    EXPECT_STREQ(g_hub_servers[31].id, "s31");
}

TEST_F(SpacesTables, SkippedSpacesTakeNoPlace) {
    load_spaces(
        list_of("spaces", 40, R"({"id":"s@","name":"n@"},{"id":"s@","name":"x"},{"id":"y@"})"));
    ASSERT_EQ(g_hub_server_count, 32);
    EXPECT_STREQ(g_hub_servers[31].name, "n31");
}

TEST_F(SpacesTables, SpaceTextsAreCutToTheirSizes) {
    const std::string v(400, 'v');
    load_spaces("[" +
                json_object({{"name", v},
                             {"id", v},
                             {"inviteCode", v},
                             {"imageUrl", v},
                             {"description", v},
                             {"knownBy", v},
                             {"adminUserId", v},
                             {"invitationStatus", v},
                             {"invitationId", v}}) +
                "]");
    ASSERT_EQ(g_hub_server_count, 1);
    const HubSpace& space = g_hub_servers[0];
    EXPECT_EQ(space.name, std::string(63, 'v'));
    EXPECT_EQ(space.id, std::string(127, 'v'));
    EXPECT_EQ(space.inviteCode, std::string(63, 'v'));
    EXPECT_EQ(space.imageUrl, std::string(255, 'v'));
    EXPECT_EQ(space.description, std::string(255, 'v'));
    EXPECT_EQ(space.role, std::string(15, 'v'));
    EXPECT_EQ(space.adminUserId, std::string(63, 'v'));
    EXPECT_EQ(space.invitationStatus, std::string(15, 'v'));
    EXPECT_EQ(space.invitationId, std::string(63, 'v'));
}

TEST_F(SpacesTables, EachFieldIsReadFromItsOwnElement) {
    load_spaces(R"({"id":"outer","name":"outer","spaces":[{"id":"1","name":"A"},)"
                R"({"id":"2","name":"B","description":"of B","tags":[{"inviteCode":"inner"}]}]})");
    ASSERT_EQ(g_hub_server_count, 2);
    EXPECT_STREQ(g_hub_servers[0].description, "");
    EXPECT_STREQ(g_hub_servers[0].inviteCode, "");
    EXPECT_STREQ(g_hub_servers[1].description, "of B");
    EXPECT_STREQ(g_hub_servers[1].inviteCode, "inner");
}

TEST_F(SpacesTables, ALoadOfSpacesEndsSelectionAndChatAndTellsIt) {
    g_selected_server_index = 3;
    copy_text(g_hub_chat_scope_type, "room");
    copy_text(g_hub_chat_scope_id, "r1");
    Backend_SetSpacesLoadedCallback([] {
        ++g_spaces_loaded;
        EXPECT_EQ(g_hub_server_count, 1);
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_STREQ(g_hub_chat_scope_type, "");
        EXPECT_STREQ(g_hub_chat_scope_id, "");
    });
    load_spaces(R"([{"id":"1","name":"A"}])");
    EXPECT_EQ(g_spaces_loaded, 1);
    EXPECT_EQ(g_rooms_loaded + g_members_loaded, 0);
}

TEST_F(SpacesTables, AnAnswerWithoutAListEmptiesTheTable) {
    load_spaces(R"([{"id":"1","name":"A"}])");
    for (const char* answer : {"", "{}", "[]", "<html>", R"({"id":"1","name":"A"})"}) {
        load_spaces(answer);
        EXPECT_EQ(g_hub_server_count, 0);
    }
}

TEST_F(SpacesTables, AFailedLoadLeavesEverythingAsItWas) {
    load_spaces(R"([{"id":"1","name":"A"}])");
    load_rooms(R"([{"id":"r1","name":"R"}])");
    load_members(R"([{"id":"u1","username":"U"}])");
    g_selected_server_index = 0;
    g_selected_room_index = 0;
    copy_text(g_hub_chat_scope_type, "room");
    copy_text(g_hub_chat_scope_id, "r1");
    web.answer_always({.status = 500, .body = R"([{"id":"2","name":"B","username":"V"}])"});
    EXPECT_FALSE(backend_load_spaces(error));
    EXPECT_FALSE(backend_load_rooms("s2", error));
    EXPECT_FALSE(backend_load_space_members("s2", error));
    web.answer_always({.reachable = false});
    EXPECT_FALSE(backend_load_spaces(error));
    EXPECT_FALSE(backend_load_rooms("s2", error));
    EXPECT_FALSE(backend_load_space_members("s2", error));
    ASSERT_EQ(g_hub_server_count, 1);
    EXPECT_STREQ(g_hub_servers[0].id, "1");
    EXPECT_EQ(g_selected_server_index, 0);
    ASSERT_EQ(g_hub_room_count, 1);
    EXPECT_STREQ(g_hub_rooms[0].id, "r1");
    EXPECT_EQ(g_selected_room_index, 0);
    ASSERT_EQ(g_hub_space_user_count, 1);
    EXPECT_STREQ(g_hub_space_users[0].id, "u1");
    EXPECT_STREQ(g_hub_space_users_space_id, "s1");
    EXPECT_STREQ(g_hub_chat_scope_type, "room");
    EXPECT_STREQ(g_hub_chat_scope_id, "r1");
    EXPECT_EQ(g_spaces_loaded, 1);
    EXPECT_EQ(g_rooms_loaded, 1);
    EXPECT_EQ(g_members_loaded, 1);
}

TEST_F(SpacesTables, ARoomTakesItsFields) {
    g_hub_rooms[0].userCount = 9;
    load_rooms(R"({"rooms":[{"id":"r1","name":"Cocina","createdByUserId":"u1","userCount":4,)"
               R"("description":"ignored"},{"_id":"r2","roomName":"Patio"},)"
               R"({"_id":"other","id":"r3","roomName":"other","name":"Sala"}]})");
    ASSERT_EQ(g_hub_room_count, 3);
    EXPECT_STREQ(g_hub_rooms[2].id, "r3");
    EXPECT_STREQ(g_hub_rooms[2].name, "Sala");
    EXPECT_STREQ(g_hub_rooms[0].id, "r1");
    EXPECT_STREQ(g_hub_rooms[0].name, "Cocina");
    EXPECT_STREQ(g_hub_rooms[0].createdByUserId, "u1");
    EXPECT_EQ(g_hub_rooms[0].userCount, 0);
    EXPECT_STREQ(g_hub_rooms[0].description, "Sala de voz");
    EXPECT_STREQ(g_hub_rooms[1].id, "r2");
    EXPECT_STREQ(g_hub_rooms[1].name, "Patio");
    EXPECT_STREQ(g_hub_rooms[1].createdByUserId, "");
}

TEST_F(SpacesTables, RoomsWithoutNameOrIdentifierAndSecondOnesAreSkipped) {
    load_rooms(R"([{"id":"1"},{"name":"A"},{"id":"2","roomName":"B"},{"id":"2","name":"C"}])");
    ASSERT_EQ(g_hub_room_count, 1);
    EXPECT_STREQ(g_hub_rooms[0].name, "B");
}

TEST_F(SpacesTables, OfFortyRoomsTheFirst32AreKept) {
    load_rooms(list_of("rooms", 40, R"({"id":"r@","name":"n@"})"));
    ASSERT_EQ(g_hub_room_count, 32);
    EXPECT_STREQ(g_hub_rooms[31].id, "r31");
}

TEST_F(SpacesTables, RoomTextsAreCutToTheirSizes) {
    const std::string v(100, 'v');
    load_rooms("[" + json_object({{"id", v}, {"name", v}, {"createdByUserId", v}}) + "]");
    EXPECT_EQ(g_hub_rooms[0].id, std::string(63, 'v'));
    EXPECT_EQ(g_hub_rooms[0].name, std::string(63, 'v'));
    EXPECT_EQ(g_hub_rooms[0].createdByUserId, std::string(63, 'v'));
}

TEST_F(SpacesTables, ALoadOfRoomsEndsTheirSelectionAndTellsIt) {
    g_selected_room_index = 5;
    g_selected_server_index = 2;
    copy_text(g_hub_chat_scope_type, "room");
    Backend_SetRoomsLoadedCallback([] {
        ++g_rooms_loaded;
        EXPECT_EQ(g_hub_room_count, 1);
        EXPECT_EQ(g_selected_room_index, -1);
    });
    load_rooms(R"([{"id":"1","name":"A"}])");
    EXPECT_EQ(g_rooms_loaded, 1);
    EXPECT_EQ(g_spaces_loaded + g_members_loaded, 0);
    EXPECT_EQ(g_selected_server_index, 2);
    EXPECT_STREQ(g_hub_chat_scope_type, "room");
}

TEST_F(SpacesTables, AMemberTakesItsFields) {
    load_members(R"({"members":[{"id":"u1","username":"ana","displayName":"Ana","email":"a@x"},)"
                 R"({"id":"u2","display_name":"Bea"},{"email":"c@x"},{"username":"d"},)"
                 R"({"display_name":"other","displayName":"Eva"}]})");
    ASSERT_EQ(g_hub_space_user_count, 5);
    EXPECT_STREQ(g_hub_space_users[4].displayName, "Eva");
    EXPECT_STREQ(g_hub_space_users[0].id, "u1");
    EXPECT_STREQ(g_hub_space_users[0].username, "ana");
    EXPECT_STREQ(g_hub_space_users[0].displayName, "Ana");
    EXPECT_STREQ(g_hub_space_users[0].email, "a@x");
    EXPECT_STREQ(g_hub_space_users[1].id, "u2");
    EXPECT_STREQ(g_hub_space_users[1].username, "");
    EXPECT_STREQ(g_hub_space_users[1].displayName, "Bea");
    EXPECT_STREQ(g_hub_space_users[2].id, "");
    EXPECT_STREQ(g_hub_space_users[2].email, "c@x");
    EXPECT_STREQ(g_hub_space_users[3].username, "d");
    EXPECT_STREQ(g_hub_space_users[3].email, "");
}

TEST_F(SpacesTables, MembersWithoutNamesAndEmailAreNotCounted) {
    load_members(R"([{"id":"u1"},{},{"id":"u2","username":"","displayName":"","email":""},)"
                 R"({"id":"u3","username":"c"}])");
    ASSERT_EQ(g_hub_space_user_count, 1);
    EXPECT_STREQ(g_hub_space_users[0].id, "u3");
}

TEST_F(SpacesTables, MembersOfOneIdentifierAllCount) {
    load_members(R"([{"id":"u1","username":"a"},{"id":"u1","username":"a"}])");
    EXPECT_EQ(g_hub_space_user_count, 2);
}

TEST_F(SpacesTables, TheFirstMemberBeginsWithTheObjectAroundTheList) {
    load_members(R"({"username":"outer","members":[{"id":"u1","username":"a"}]})");
    ASSERT_EQ(g_hub_space_user_count, 1);
    EXPECT_STREQ(g_hub_space_users[0].username, "outer");
    EXPECT_STREQ(g_hub_space_users[0].id, "u1");
}

TEST_F(SpacesTables, AMemberEndsAtItsFirstClosingBrace) {
    load_members(
        R"([{"id":"u1","role":{"x":"y"},"username":"lost"},{"username":"b}c","id":"u2"}])");
    ASSERT_EQ(g_hub_space_user_count, 1);
    EXPECT_STREQ(g_hub_space_users[0].username, "b");
    EXPECT_STREQ(g_hub_space_users[0].id, "");
}

TEST_F(SpacesTables, ALoadReplacesTheTableBefore) {
    for (const char* name : {"a", "b"}) {
        const std::string list =
            "[" + json_object({{"id", name}, {"name", name}, {"email", name}}) + "]";
        load_spaces(list);
        load_rooms(list);
        load_members(list);
        ASSERT_EQ(g_hub_server_count, 1);
        EXPECT_STREQ(g_hub_servers[0].id, name);
        ASSERT_EQ(g_hub_room_count, 1);
        EXPECT_STREQ(g_hub_rooms[0].id, name);
        ASSERT_EQ(g_hub_space_user_count, 1);
        EXPECT_STREQ(g_hub_space_users[0].id, name);
    }
}

TEST_F(SpacesTables, AMemberHoldsNothingOfTheOneBefore) {
    load_members(R"([{"id":"u","username":"a","displayName":"A","email":"e"}])");
    load_members(R"([{"email":"f"}])");
    EXPECT_STREQ(g_hub_space_users[0].id, "");
    EXPECT_STREQ(g_hub_space_users[0].username, "");
    EXPECT_STREQ(g_hub_space_users[0].displayName, "");
    EXPECT_STREQ(g_hub_space_users[0].email, "f");
}

TEST_F(SpacesTables, AnUnclosedMemberIsNone) {
    load_members(R"([{"username":"a"},{"username":"b")");
    EXPECT_EQ(g_hub_space_user_count, 1);
}

TEST_F(SpacesTables, OfThreeHundredMembersTheFirst256AreKept) {
    load_members(list_of("members", 300, R"({"id":"u@","username":"n@"})"));
    ASSERT_EQ(g_hub_space_user_count, 256);
    EXPECT_STREQ(g_hub_space_users[255].id, "u255");
}

TEST_F(SpacesTables, MemberTextsAreCutToTheirSizes) {
    const std::string v(200, 'v');
    load_members("[" + json_object({{"id", v}, {"username", v}, {"displayName", v}, {"email", v}}) +
                 "]");
    EXPECT_EQ(g_hub_space_users[0].id, std::string(63, 'v'));
    EXPECT_EQ(g_hub_space_users[0].username, std::string(63, 'v'));
    EXPECT_EQ(g_hub_space_users[0].displayName, std::string(63, 'v'));
    EXPECT_EQ(g_hub_space_users[0].email, std::string(127, 'v'));
}

TEST_F(SpacesTables, ALoadOfMembersRemembersTheirSpaceAndTellsIt) {
    const std::string space_id(200, 's');
    Backend_SetMembersLoadedCallback([] {
        ++g_members_loaded;
        EXPECT_EQ(g_hub_space_user_count, 1);
        EXPECT_EQ(g_hub_space_users_space_id, std::string(127, 's'));
    });
    web.answer(200, R"([{"username":"a"}])");
    EXPECT_TRUE(backend_load_space_members(space_id.c_str(), error));
    EXPECT_EQ(g_members_loaded, 1);
    EXPECT_EQ(g_spaces_loaded + g_rooms_loaded, 0);
}

TEST_F(SpacesTables, MembersOfTheSameSpaceMayBeAskedForByTheTablesOwnText) {
    load_members("[]");
    web.answer(200, "[]");
    EXPECT_TRUE(backend_load_space_members(g_hub_space_users_space_id, error));
    EXPECT_STREQ(g_hub_space_users_space_id, "s1");
}

TEST_F(SpacesTables, LoadsWithoutCallbacksStillFillTheTables) {
    Backend_SetSpacesLoadedCallback(nullptr);
    Backend_SetRoomsLoadedCallback(nullptr);
    Backend_SetMembersLoadedCallback(nullptr);
    load_spaces(R"([{"id":"1","name":"A"}])");
    load_rooms(R"([{"id":"1","name":"A"}])");
    load_members(R"([{"username":"A"}])");
    EXPECT_EQ(g_hub_server_count + g_hub_room_count + g_hub_space_user_count, 3);
}

TEST_F(SpacesTables, JoiningSelectsTheSpaceAndLoadsItsRooms) {
    web.answer(200, R"({"space":{"id":"s2","name":"B"}})");
    web.answer(200, R"([{"id":"s1","name":"A"},{"id":"s2","name":"B"}])");
    web.answer(200, R"([{"id":"r1","name":"R"}])");
    EXPECT_TRUE(backend_join_space_by_code("ABCD", error));
    ASSERT_EQ(web.calls().size(), 3U);
    EXPECT_EQ(web.last_call().url,
              "http://backend.test:3600/api/spaces/s2/rooms?sessionToken=the-token");
    EXPECT_EQ(g_selected_server_index, 1);
    EXPECT_EQ(g_hub_room_count, 1);
    EXPECT_EQ(g_spaces_loaded, 1);
    EXPECT_EQ(g_rooms_loaded, 1);
}

TEST_F(SpacesTables, AJoinedSpaceThatIsNotInTheListIsNotSelected) {
    for (const char* answer : {R"({"id":"s9"})", "{}", R"({"id":""})", R"({"id":7})"}) {
        web.forget_calls();
        web.answer(200, answer);
        web.answer(200, R"([{"id":"s1","name":"A"}])");
        EXPECT_TRUE(backend_join_space_by_code("ABCD", error));
        EXPECT_EQ(g_selected_server_index, -1);
        EXPECT_EQ(web.calls().size(), 2U);
    }
}

TEST_F(SpacesTables, AJoinWhoseRoomsFailStillSucceedsWithoutRooms) {
    load_rooms(R"([{"id":"r1","name":"of another space"}])");
    g_selected_room_index = 0;
    web.answer(200, R"({"id":"s1"})");
    web.answer(200, R"([{"id":"s1","name":"A"}])");
    web.answer(500, "");
    EXPECT_TRUE(backend_join_space_by_code("ABCD", error));
    EXPECT_EQ(g_selected_server_index, 0);
    EXPECT_EQ(g_hub_room_count, 0);
    EXPECT_EQ(g_selected_room_index, -1);
    EXPECT_EQ(take_error(), "");
}

TEST_F(SpacesTables, AJoinWhoseReloadFailsLeavesTheTable) {
    load_spaces(R"([{"id":"s1","name":"A"}])");
    g_selected_server_index = 0;
    web.answer(200, R"({"id":"s1"})");
    web.answer(500, "");
    EXPECT_FALSE(backend_join_space_by_code("ABCD", error));
    EXPECT_EQ(take_error(), "Consulta de espacios falló (HTTP 500)");
    EXPECT_EQ(g_hub_server_count, 1);
    EXPECT_EQ(g_selected_server_index, 0);
}

TEST_F(SpacesTables, AJoinedIdentifierIsCutAsTheTablesAre) {
    const std::string id(300, 'i');
    web.answer(200, json_object({{"id", id}}));
    web.answer(200, "[" + json_object({{"id", id}, {"name", "A"}}) + "]");
    web.answer(200, "[]");
    EXPECT_TRUE(backend_join_space_by_code("ABCD", error));
    EXPECT_EQ(g_selected_server_index, 0);
}

TEST_F(SpacesTables, ChangesReloadTheirTable) {
    web.answer(201, "{}");
    web.answer(200, R"([{"id":"s1","name":"A"}])");
    EXPECT_TRUE(backend_create_space("A", nullptr, nullptr, error));
    EXPECT_EQ(g_hub_server_count, 1);
    web.answer(201, "{}");
    web.answer(200, R"([{"id":"r1","name":"A"},{"id":"r2","name":"B"}])");
    EXPECT_TRUE(backend_create_room(g_hub_servers[0].id, "B", error));
    EXPECT_EQ(g_hub_room_count, 2);
    web.answer(200, "{}");
    web.answer(200, R"([{"id":"r1","name":"A"}])");
    EXPECT_TRUE(backend_delete_room(g_hub_servers[0].id, g_hub_rooms[1].id, "B", error));
    EXPECT_EQ(g_hub_room_count, 1);
}

TEST_F(SpacesTables, TheLastElementMayEndBehindTheBuffer) {
    const std::string head = R"([{"id":"1","name":"A"},{"id":"2","name":"B","x":")";
    load_spaces(head + std::string(20'000, 'x') + "\"}]");
    EXPECT_EQ(g_hub_server_count, 1);
}

} // namespace
