// Rooms: joining, leaving, speaking states, and who is told what.
#include "unit/service/voice_rooms_fixture.h"

namespace {

using Type = VoicePacketType;
using VoiceMembersTest = VoiceRoomsTest;

constexpr char k_bad_names[] = "La sala o el nombre de usuario no son válidos";

TEST_F(VoiceMembersTest, JoinIsConfirmedWithOwnIdAndTheOtherMembers) {
    member("r", "ana");
    member("r", "bob");
    Client& client = connected();
    client.join("r", "eva");
    EXPECT_EQ(client.take_text(Type::join_room),
              R"({"username":"eva","roomId":"r","peerId":"p3","existingPeers":)"
              R"([{"id":"p1","username":"ana"},{"id":"p2","username":"bob"}]})");
}

TEST_F(VoiceMembersTest, FirstMemberIsConfirmedWithAnEmptyList) {
    Client& client = connected();
    client.join("sala 1", "Íñigo");
    const auto packets = client.take();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].type, Type::join_room);
    EXPECT_EQ(packets[0].session_id, client.session_id);
    EXPECT_EQ(packets[0].text(),
              R"({"username":"Íñigo","roomId":"sala 1","peerId":"p1","existingPeers":[]})");
}

TEST_F(VoiceMembersTest, OthersHearOfANewcomerWithTheListAsEachOfThemSeesIt) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    Client& eva = connected();
    eva.join("r", "eva");
    EXPECT_EQ(ana.take_text(Type::peer_joined),
              R"({"username":"eva","peerId":"p3","existingPeers":)"
              R"([{"id":"p2","username":"bob"},{"id":"p3","username":"eva"}]})");
    EXPECT_EQ(bob.take_text(Type::peer_joined),
              R"({"username":"eva","peerId":"p3","existingPeers":)"
              R"([{"id":"p1","username":"ana"},{"id":"p3","username":"eva"}]})");
}

TEST_F(VoiceMembersTest, NewcomerIsNotAnnouncedInOtherRooms) {
    Client& ana = member("a", "ana");
    Client& idle = connected();
    member("b", "bob");
    connected().join("b", "eva");
    EXPECT_TRUE(ana.take().empty());
    EXPECT_TRUE(idle.take().empty());
    EXPECT_EQ(rooms->room_count(), 2U);
}

TEST_F(VoiceMembersTest, LeavingIsToldToTheOthersOnly) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.leave();
    EXPECT_EQ(ana.take_text(Type::peer_left), R"({"peerId":"p2","username":"bob"})");
    EXPECT_TRUE(bob.take().empty());
    EXPECT_EQ(rooms->session_count(), 2U);
    bob.leave();
    EXPECT_TRUE(ana.take().empty());
    ana.leave();
    EXPECT_EQ(rooms->room_count(), 0U);
}

TEST_F(VoiceMembersTest, JoiningAnotherRoomLeavesTheFirst) {
    Client& ana = member("a", "ana");
    Client& bob = member("a", "bob");
    bob.join("b", "bob");
    EXPECT_EQ(ana.take_text(Type::peer_left), R"({"peerId":"p2","username":"bob"})");
    EXPECT_EQ(bob.take_text(Type::join_room),
              R"({"username":"bob","roomId":"b","peerId":"p2","existingPeers":[]})");
}

TEST_F(VoiceMembersTest, JoiningTheSameRoomAgainIsConfirmedAgainAndToldToNobody) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.join("r", "bob");
    EXPECT_EQ(bob.take_text(Type::join_room),
              R"({"username":"bob","roomId":"r","peerId":"p2","existingPeers":)"
              R"([{"id":"p1","username":"ana"}]})");
    EXPECT_TRUE(ana.take().empty());
}

TEST_F(VoiceMembersTest, JoiningTheSameRoomUnderAnotherNameIsARoomUpdateForTheOthers) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.join("r", "roberto");
    EXPECT_EQ(bob.take(Type::join_room).size(), 1U);
    const auto packets = ana.take();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].type, Type::room_update);
    EXPECT_EQ(packets[0].text(), R"({"username":"roberto","peerId":"p2","existingPeers":)"
                                 R"([{"id":"p2","username":"roberto"}]})");
}

TEST_F(VoiceMembersTest, DoubledJoinIsOneJoin) {
    Client& ana = member("r", "ana");
    Client& bob = connected();
    const Bytes join = bytes_of_text(R"({"roomId":"r","username":"bob"})");
    bob.send_as(bob.session_id, 1, Type::join_room, join);
    bob.send_as(bob.session_id, 1, Type::join_room, join);
    EXPECT_EQ(bob.take(Type::join_room).size(), 1U);
    EXPECT_EQ(ana.take(Type::peer_joined).size(), 1U);
}

TEST_F(VoiceMembersTest, JoinOvertakenByTheLeaveAfterItChangesNothing) {
    Client& bob = connected();
    bob.send_as(bob.session_id, 2, Type::leave_room, bytes_of_text("{}"));
    bob.send_as(bob.session_id, 1, Type::join_room,
                bytes_of_text(R"({"roomId":"r","username":"bob"})"));
    EXPECT_TRUE(bob.take().empty());
    EXPECT_EQ(rooms->room_count(), 0U);
}

TEST_F(VoiceMembersTest, BadJoinRequestsAreAnsweredWithAText) {
    const std::string name_64(64, 'x');
    for (const std::string& request : {
             std::string(),
             std::string("{}"),
             std::string("no json"),
             std::string("[1]"),
             std::string("\"text\""),
             std::string(R"({"roomId":"r"})"),
             std::string(R"({"username":"ana"})"),
             std::string(R"({"roomId":"","username":"ana"})"),
             std::string(R"({"roomId":"r","username":""})"),
             std::string(R"({"roomId":7,"username":"ana"})"),
             std::string(R"({"roomId":"r","username":["ana"]})"),
             std::string(R"({"roomId":"r","username":"a"b"})"),
             std::string(R"({"roomId":"r","username":"a\"b"})"),
             std::string(R"({"roomId":"r","username":"a\\b"})"),
             std::string(R"({"roomId":"r","username":"a\nb"})"),
             std::string(R"({"roomId":"r","username":"a\u0000b"})"),
             std::string(R"({"roomId":"r","username":"a\u007fb"})"),
             std::string(R"({"roomId":"r","username":"a\u0085b"})"),
             std::string(R"({"roomId":"r\t","username":"ana"})"),
             std::string("{\"roomId\":\"r\",\"username\":\"a\xFFz\"}"),
             std::string("{\"roomId\":\"r\",\"username\":\"\xC3\"}"), // nothing is left
             std::string("{\"roomId\":\"r\",\"username\":\"a\nb\"}"),
             R"({"roomId":"r","username":")" + name_64 + "\"}",
             R"({"roomId":")" + name_64 + R"(","username":"ana"})",
             R"({"roomId":"r","username":"ana","x":")" + std::string(2000, 'x') + "\"}",
             std::string(500, '['),
         }) {
        Client& client = connected();
        client.send_text(Type::join_room, request);
        const auto packets = client.take();
        ASSERT_EQ(packets.size(), 1U) << request;
        EXPECT_EQ(packets[0].type, Type::error) << request;
        EXPECT_EQ(packets[0].text(), k_bad_names) << request;
    }
    EXPECT_EQ(rooms->room_count(), 0U);
}

TEST_F(VoiceMembersTest, NamesOf63BytesAreTaken) {
    const std::string name(63, 'x');
    Client& client = connected();
    client.join(name, name);
    EXPECT_EQ(client.take(Type::join_room).size(), 1U);
}

// Clients keep names in 64 bytes and do not look where the cut falls.
TEST_F(VoiceMembersTest, NamesCutInsideACharacterAreTakenWithoutIt) {
    std::string name;
    for (int i = 0; i < 40; ++i) {
        name += "ñ";
    }
    const std::string whole = name.substr(0, 62);
    Client& bob = member("r", "bob");
    Client& ana = connected();
    ana.join("r", name.substr(0, 63));
    // The client would take a shorter name than its own for somebody else.
    EXPECT_EQ(ana.take_text(Type::join_room),
              R"({"username":"","roomId":"r","peerId":"p2","existingPeers":)"
              R"([{"id":"p1","username":"bob"}]})");
    EXPECT_EQ(bob.take_text(Type::peer_joined),
              R"({"username":")" + whole +
                  R"(","peerId":"p2","existingPeers":[{"id":"p2","username":")" + whole +
                  R"("}]})");
    ana.join("r", "ana");
    EXPECT_EQ(ana.take(Type::join_room)[0].text().find("\"username\":\"\""), std::string::npos);
    ana.join("r", name.substr(0, 63));
    EXPECT_NE(ana.take(Type::join_room)[0].text().find("\"username\":\"\""), std::string::npos);
}

TEST_F(VoiceMembersTest, CutCharactersOfAnyLengthAreDroppedAtTheEndOfEveryName) {
    for (const char* cut : {"\xC3", "\xE2", "\xE2\x82", "\xF0", "\xF0\x9F", "\xF0\x9F\x98"}) {
        Client& client = connected();
        client.join(std::string("sala") + cut, std::string("ana") + cut);
        EXPECT_EQ(client.take_text(Type::join_room),
                  R"({"username":"","roomId":"sala","peerId":")" + std::string("p") +
                      std::to_string(rooms->session_count()) + R"(","existingPeers":[]})");
        client.leave();
    }
    Client& client = connected();
    client.send_text(Type::join_room, "{\"x\":\"\\\"\",\"roomId\":\"r\",\"username\":\"ana\xC3\"}");
    EXPECT_EQ(client.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceMembersTest, OtherBytesThatAreNoUtf8AreRefusedAtTheEndToo) {
    for (const std::string& end :
         {std::string("\x80"), std::string("\xC0"), std::string("\xC1"), std::string("\xF5"),
          std::string("\xFF"), std::string("\xE0\x80"), std::string("\xED\xA0"),
          std::string("\xF0\x80"), std::string("\xF4\x90"), std::string("\xC3\xC3"),
          std::string("\xE2\x28"), std::string("\xE2\x82\x28"), std::string("\xC3\xB1\x80"),
          std::string("\xF0\x9F\x98\x80\x80"), std::string("\xC3 ")}) {
        Client& client = connected();
        client.join("r", "ana" + end);
        EXPECT_EQ(client.take_text(Type::error), k_bad_names) << ::testing::PrintToString(end);
    }
    Client& client = connected();
    client.send_text(Type::join_room, "{\xC3\"roomId\":\"r\",\"username\":\"ana\"}");
    EXPECT_EQ(client.take_text(Type::error), k_bad_names);
    client.send_text(Type::join_room, "{\"roomId\":\"r\",\"username\":\"a\xC3\\\"\"}");
    EXPECT_EQ(client.take_text(Type::error), k_bad_names);
}

TEST_F(VoiceMembersTest, RefusedJoinStillLeavesTheOldRoom) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send_text(Type::join_room, "no json");
    EXPECT_EQ(bob.take_text(Type::error), k_bad_names);
    EXPECT_EQ(ana.take_text(Type::peer_left), R"({"peerId":"p2","username":"bob"})");
}

TEST_F(VoiceMembersTest, Member33IsRefusedWithAText) {
    for (std::size_t i = 0; i < k_max_room_members; ++i) {
        connected().join("r", "user" + std::to_string(i));
    }
    Client& late = connected();
    late.join("r", "late");
    EXPECT_EQ(late.take_text(Type::error), "La sala está llena");
    late.join("other", "late");
    EXPECT_EQ(late.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceMembersTest, Room257IsRefusedWithAText) {
    for (std::size_t i = 0; i < k_max_rooms; ++i) {
        connected().join("room" + std::to_string(i), "ana");
    }
    Client& late = connected();
    late.join("one more", "late");
    EXPECT_EQ(late.take_text(Type::error), "No caben más salas en el servidor");
    EXPECT_EQ(rooms->room_count(), k_max_rooms);
    late.join("room7", "late");
    EXPECT_EQ(late.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceMembersTest, JoinsAreLimitedInRateAndAllOfThemLeaveTheOldRoom) {
    Client& client = connected();
    for (int i = 0; i < 100; ++i) {
        client.join("room" + std::to_string(i), "ana");
    }
    EXPECT_EQ(client.take(Type::join_room).size(), std::size_t{k_room_change_burst});
    EXPECT_EQ(rooms->room_count(), 0U);
    pass(1000);
    client.join("r", "ana");
    EXPECT_EQ(client.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceMembersTest, JoinBeyondTheRateIsRefusedWithATextOnceUntilOneIsTakenAgain) {
    Client& client = connected();
    const auto storm = [&client] {
        for (int i = 0; i < 100; ++i) {
            client.join("r", "ana");
        }
    };
    storm();
    EXPECT_EQ(client.take_text(Type::error),
              "Demasiados cambios de sala seguidos; espera un momento y vuelve a entrar");
    storm();
    EXPECT_TRUE(client.take(Type::error).empty());
    pass(1000);
    storm();
    EXPECT_EQ(client.take(Type::error).size(), 1U);
}

// --- Two members of one name --------------------------------------------------------------------

TEST_F(VoiceMembersTest, NamesakesAreListedEach) {
    member("r", "ana");
    Client& second = connected();
    second.join("r", "ana");
    EXPECT_EQ(second.take_text(Type::join_room),
              R"({"username":"ana","roomId":"r","peerId":"p2","existingPeers":)"
              R"([{"id":"p1","username":"ana"}]})");
}

TEST_F(VoiceMembersTest, LeavingOfANamesakeNamesNobodyAndListsWhoStays) {
    Client& bob = member("r", "bob");
    Client& old_ana = member("r", "ana");
    member("r", "ana");
    old_ana.leave();
    EXPECT_EQ(bob.take_text(Type::peer_left), R"({"peerId":"p2","username":"","existingPeers":)"
                                              R"([{"id":"p3","username":"ana"}]})");
}

// --- Speaking -----------------------------------------------------------------------------------

TEST_F(VoiceMembersTest, SpeakingIsToldToTheOthersAsJson) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    Client& elsewhere = member("x", "eva");
    bob.send(Type::speaking, {1});
    EXPECT_EQ(ana.take_text(Type::speaking), R"({"peerId":"p2","speaking":true})");
    bob.send(Type::speaking, {0});
    EXPECT_EQ(ana.take_text(Type::speaking), R"({"peerId":"p2","speaking":false})");
    EXPECT_TRUE(bob.take().empty());
    EXPECT_TRUE(elsewhere.take().empty());
}

TEST_F(VoiceMembersTest, UnchangedSpeakingStateIsNotToldAgain) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send(Type::speaking, {0});
    bob.send(Type::speaking, {1});
    bob.send(Type::speaking, {1});
    EXPECT_EQ(ana.take(Type::speaking).size(), 1U);
}

TEST_F(VoiceMembersTest, SpeakingStateOvertakenByALaterOneIsIgnored) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send_as(bob.session_id, 10, Type::speaking, {1});
    bob.send_as(bob.session_id, 12, Type::speaking, {0});
    bob.send_as(bob.session_id, 11, Type::speaking, {1});
    EXPECT_EQ(ana.take(Type::speaking).size(), 2U);
}

TEST_F(VoiceMembersTest, SpeakingWithoutAByteIsIgnored) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send(Type::speaking, {});
    EXPECT_TRUE(ana.take().empty());
}

// Clients tell changes only, in a room or not.
TEST_F(VoiceMembersTest, WhoBeganToSpeakBeforeJoiningIsToldAsASpeakerOnEntry) {
    Client& ana = member("r", "ana");
    Client& bob = connected();
    bob.send(Type::speaking, {1});
    EXPECT_TRUE(ana.take().empty());
    bob.join("r", "bob");
    const auto packets = ana.take();
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(packets[0].type, Type::peer_joined);
    EXPECT_EQ(packets[1].text(), R"({"peerId":"p2","speaking":true})");
    EXPECT_EQ(bob.take().size(), 1U);
}

TEST_F(VoiceMembersTest, SpeakingStateGoesAlongIntoTheNextRoom) {
    Client& ana = member("a", "ana");
    Client& eva = member("b", "eva");
    Client& bob = member("a", "bob");
    bob.send(Type::speaking, {1});
    forget_all();
    bob.join("b", "bob");
    EXPECT_TRUE(ana.take(Type::speaking).empty());
    EXPECT_EQ(eva.take_text(Type::speaking), R"({"peerId":"p3","speaking":true})");
}

TEST_F(VoiceMembersTest, WhoFellSilentBetweenTwoRoomsIsSilentInTheSecond) {
    Client& eva = member("b", "eva");
    Client& bob = member("a", "bob");
    bob.send(Type::speaking, {1});
    bob.leave();
    bob.send(Type::speaking, {0});
    bob.join("b", "bob");
    EXPECT_TRUE(eva.take(Type::speaking).empty());
}

TEST_F(VoiceMembersTest, SpeakingStateOvertakenByAJoinStillCounts) {
    Client& ana = member("r", "ana");
    Client& bob = connected();
    bob.send_as(bob.session_id, 2, Type::join_room,
                bytes_of_text(R"({"roomId":"r","username":"bob"})"));
    ana.take();
    bob.send_as(bob.session_id, 1, Type::speaking, {1});
    EXPECT_EQ(ana.take_text(Type::speaking), R"({"peerId":"p2","speaking":true})");
}

TEST_F(VoiceMembersTest, SpeakingIsLimitedInRate) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    for (int i = 0; i < 1000; ++i) {
        bob.send(Type::speaking, {static_cast<std::uint8_t>(i % 2 == 0)});
    }
    EXPECT_EQ(ana.take(Type::speaking).size(), std::size_t{k_speaking_burst});
}

// A client's roster forgets who speaks whenever a list arrives.
TEST_F(VoiceMembersTest, WhoSpeaksIsToldAgainAfterEveryList) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send(Type::speaking, {1});
    forget_all();
    Client& eva = connected();
    eva.join("r", "eva");
    const auto to_eva = eva.take();
    ASSERT_EQ(to_eva.size(), 2U);
    EXPECT_EQ(to_eva[0].type, Type::join_room);
    EXPECT_EQ(to_eva[1].text(), R"({"peerId":"p2","speaking":true})");
    const auto to_ana = ana.take();
    ASSERT_EQ(to_ana.size(), 2U);
    EXPECT_EQ(to_ana[0].type, Type::peer_joined);
    EXPECT_EQ(to_ana[1].text(), R"({"peerId":"p2","speaking":true})");
    EXPECT_EQ(bob.take().size(), 1U);
}

TEST_F(VoiceMembersTest, LeavingIsToldWithoutAWordAboutSpeaking) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send(Type::speaking, {1});
    forget_all();
    bob.leave();
    const auto packets = ana.take();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].type, Type::peer_left);
}

} // namespace
