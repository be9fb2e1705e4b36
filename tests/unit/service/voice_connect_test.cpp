// CONNECT, the one request that a forged sender can make: what it costs, what it cannot do, and
// that honest clients get in all the same.
#include "unit/service/voice_rooms_fixture.h"

namespace {

using Type = VoicePacketType;

class VoiceConnectTest : public VoiceRoomsTest {
  protected:
    static void send_connect(Client& client) { client.send_as(0, 0, Type::connect); }

    /// The session id in the only answer, a CONNECT_ACK, that the client got.
    static std::uint64_t take_id(Client& client) {
        const auto answers = client.take();
        EXPECT_EQ(answers.size(), 1U);
        if (answers.size() != 1 || answers[0].type != Type::connect_ack) {
            ADD_FAILURE() << "no CONNECT_ACK";
            return 0;
        }
        EXPECT_TRUE(answers[0].payload.empty());
        return answers[0].session_id;
    }

    /// Connects from `count` addresses, a millisecond apart each, and says nothing more.
    std::vector<Client*> forge(std::size_t count) {
        std::vector<Client*> forged;
        for (std::size_t i = 0; i < count; ++i) {
            pass(1);
            forged.push_back(&stranger());
            send_connect(*forged.back());
        }
        return forged;
    }

    void fill_with_clients_in_use() {
        for (std::size_t i = rooms->session_count(); i < k_max_sessions; ++i) {
            connected().send(Type::heartbeat, {0, 0, 0, 0});
        }
    }
};

// --- From an address that has a session ---------------------------------------------------------

TEST_F(VoiceConnectTest, ForgedConnectChangesNothingForASessionInUse) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    send_connect(ana);
    EXPECT_NE(take_id(ana), ana.session_id);
    for (int second = 0; second < 40; ++second) {
        run(1000);
        ana.send(Type::heartbeat, {0, 0, 0, 0});
        bob.send(Type::heartbeat, {0, 0, 0, 0});
    }
    EXPECT_TRUE(bob.take(Type::peer_left).empty());
    EXPECT_EQ(ana.take(Type::heartbeat_ack).size(), 40U);
    ana.talk(1000);
    run(30);
    EXPECT_FALSE(bob.take(Type::audio).empty());
}

TEST_F(VoiceConnectTest, ClientBackFromTheSamePortWithoutAGoodbyeTakesOverWithItsFirstDatagram) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    ana.talk(1000); // long before the new one has said so many
    const std::uint64_t old_id = ana.session_id;
    ana.connect();
    EXPECT_NE(ana.session_id, old_id);
    EXPECT_TRUE(bob.take().empty());

    ana.join("r", "ana");
    EXPECT_EQ(ana.take_text(Type::join_room),
              R"({"username":"ana","roomId":"r","peerId":"p3","existingPeers":)"
              R"([{"id":"p2","username":"bob"}]})");
    const auto told = bob.take();
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].type, Type::peer_left);
    EXPECT_EQ(told[0].text(), R"({"peerId":"p1","username":"ana"})");
    EXPECT_EQ(told[1].type, Type::peer_joined);
    EXPECT_EQ(rooms->session_count(), 2U);

    ana.talk(700);
    run(30);
    EXPECT_FALSE(bob.take(Type::audio).empty());
    ana.send_as(old_id, 50, Type::disconnect);
    EXPECT_EQ(rooms->session_count(), 2U);
}

TEST_F(VoiceConnectTest, ConnectDoubledBeforeTheIdIsUsedIsAnsweredWithTheSameId) {
    Client& client = connected();
    send_connect(client);
    EXPECT_EQ(take_id(client), client.session_id);
    client.join("r", "ana");
    EXPECT_EQ(client.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceConnectTest, ClientThatAsksAgainIsWaitedForAsLongAsTheFirstTime) {
    Client& client = connected();
    run(k_idle_ms - 500);
    client.connect();
    run(k_idle_ms - 500);
    client.join("r", "ana");
    EXPECT_EQ(client.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceConnectTest, ConnectDoubledLateLeavesTheClientInItsRoom) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    send_connect(ana); // answered with an id that the client, which has one, does not read
    ana.take();
    ana.talk(1000);
    run(30);
    EXPECT_FALSE(bob.take(Type::audio).empty());
    EXPECT_TRUE(bob.take(Type::peer_left).empty());
}

TEST_F(VoiceConnectTest, DoubledConnectOfAClientThatComesBackIsAnsweredWithOneId) {
    Client& ana = member("r", "ana");
    send_connect(ana);
    const std::uint64_t first = take_id(ana);
    send_connect(ana);
    EXPECT_EQ(take_id(ana), first);
}

TEST_F(VoiceConnectTest, OldGoodbyeOvertakenByTheNewConnectEndsTheOldSessionOnly) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    const std::uint64_t old_id = ana.session_id;
    ana.connect();
    ana.send_as(old_id, 9, Type::disconnect);
    EXPECT_EQ(bob.take(Type::peer_left).size(), 1U);
    ana.join("r", "ana");
    EXPECT_EQ(ana.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceConnectTest, ClientThatComesBackOutlivesTheEndOfItsOldSession) {
    Client& ana = member("r", "ana");
    run(k_idle_ms - 500);
    ana.take();
    ana.connect();
    run(1000);
    EXPECT_TRUE(ana.take(Type::disconnect).empty());
    ana.join("r", "ana");
    EXPECT_EQ(ana.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceConnectTest, ClientThatComesBackIsNotNudgedBeforeItsFirstHeartbeatIsDue) {
    Client& ana = member("r", "ana");
    send_connect(ana);
    for (int second = 0; second < 20; ++second) {
        run(1000);
        ana.send(Type::heartbeat, {0, 0, 0, 0});
    }
    ana.take();
    ana.connect();
    ana.join("r", "ana");
    run(1000);
    EXPECT_TRUE(ana.take(Type::heartbeat_ack).empty());
}

TEST_F(VoiceConnectTest, ConnectsFromOneKnownAddressAreLimitedAndCostTheOthersNothing) {
    Client& client = connected();
    for (int i = 0; i < 3 * k_connect_burst; ++i) {
        send_connect(client);
    }
    EXPECT_EQ(client.take().size(), std::size_t{k_reconnect_burst});
    EXPECT_NE(connected().session_id, 0U);
    pass(1000);
    for (int i = 0; i < 100; ++i) {
        send_connect(client);
    }
    EXPECT_EQ(client.take().size(), std::size_t{k_reconnect_rate});
}

// --- From many addresses ------------------------------------------------------------------------

TEST_F(VoiceConnectTest, ThousandsOfForgedConnectsLockNobodyOut) {
    Client& ana = member("r", "ana");
    Client& silent = connected();
    silent.send(Type::heartbeat, {0, 0, 0, 0});
    forge(5000);
    EXPECT_EQ(rooms->session_count(), k_max_sessions);
    Client& bob = connected();
    bob.join("r", "bob");
    EXPECT_EQ(bob.take(Type::join_room).size(), 1U);
    forge(5000);
    ana.take();
    bob.talk(1000);
    run(30);
    EXPECT_FALSE(ana.take(Type::audio).empty());
    silent.take();
    silent.send(Type::heartbeat, {0, 0, 0, 0});
    EXPECT_EQ(silent.take(Type::heartbeat_ack).size(), 1U);
}

TEST_F(VoiceConnectTest, OldestOfTheSessionsThatNobodyUsedGivesWayAndIsToldNothing) {
    const auto forged = forge(k_max_sessions);
    forged[0]->session_id = take_id(*forged[0]);
    forged[1]->session_id = take_id(*forged[1]);
    forged[2]->session_id = take_id(*forged[2]);
    forged[1]->send(Type::heartbeat, {0, 0, 0, 0});
    forged[1]->take();
    forge(1);
    EXPECT_TRUE(forged[0]->take().empty());
    forged[2]->send(Type::heartbeat, {0, 0, 0, 0});
    EXPECT_EQ(forged[2]->take(Type::heartbeat_ack).size(), 1U);
    forged[0]->send(Type::heartbeat, {0, 0, 0, 0});
    EXPECT_EQ(forged[0]->take_text(Type::disconnect), "");
}

TEST_F(VoiceConnectTest, FullServiceRefusesWithABareDisconnectAndTakesTheNextAfterAGoodbye) {
    Client& first = member("r", "ana");
    fill_with_clients_in_use();
    pass(1000);
    Client& late = stranger();
    send_connect(late);
    const auto answers = late.take();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].type, Type::disconnect);
    EXPECT_TRUE(answers[0].payload.empty()); // no longer than the question
    EXPECT_EQ(rooms->session_count(), k_max_sessions);
    first.send(Type::disconnect);
    late.connect();
    EXPECT_NE(late.session_id, 0U);
}

TEST_F(VoiceConnectTest, RefusalsOfAFullServiceAreFarewellsAndLimitedLikeThem) {
    fill_with_clients_in_use();
    pass(10'000);
    Client& unknown = stranger();
    for (int i = 0; i < k_farewell_burst; ++i) {
        unknown.send_as(5, 0, Type::audio);
    }
    Client& late = stranger();
    send_connect(late);
    EXPECT_TRUE(late.take().empty());
    pass(1);
    send_connect(late);
    EXPECT_EQ(late.take_text(Type::disconnect), "");
}

TEST_F(VoiceConnectTest, NewSessionsAreLimitedInRate) {
    const auto count_answered = [this](std::size_t tries) {
        std::size_t answered = 0;
        for (std::size_t i = 0; i < tries; ++i) {
            Client& client = stranger();
            send_connect(client);
            answered += client.take().size();
        }
        return answered;
    };
    EXPECT_EQ(count_answered(k_connect_burst + 500), std::size_t{k_connect_burst});
    pass(100);
    EXPECT_EQ(count_answered(500), std::size_t{k_connect_rate / 10});
}

TEST_F(VoiceConnectTest, EveryoneOfAFullServiceMayComeBackAtOnce) {
    for (std::size_t i = 0; i < k_max_sessions; ++i) {
        connected().join("room" + std::to_string(i / k_max_room_members), std::to_string(i));
    }
    EXPECT_EQ(rooms->session_count(), k_max_sessions);
    rooms->disconnect_all();
    forget_all();
    for (std::size_t i = 0; i < k_max_sessions; ++i) {
        connected();
    }
    EXPECT_EQ(rooms->session_count(), k_max_sessions);
}

} // namespace
