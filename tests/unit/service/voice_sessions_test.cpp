// Sessions: connecting, heartbeats, time-outs, strangers and hostile datagrams.
#include "unit/service/voice_rooms_fixture.h"

#include <algorithm>
#include <random>

namespace {

using Type = VoicePacketType;
using VoiceSessionsTest = VoiceRoomsTest;

TEST_F(VoiceSessionsTest, ConnectIsAnsweredWithTheDrawnSessionIdInA13ByteDatagram) {
    next_ids = {0x0102030405060708};
    Client& client = stranger();
    client.send_as(0, 0, Type::connect);
    const auto answers = client.take();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].type, Type::connect_ack);
    EXPECT_EQ(answers[0].session_id, 0x0102030405060708U);
    EXPECT_EQ(answers[0].sequence, 0U);
    EXPECT_TRUE(answers[0].payload.empty());
    EXPECT_EQ(rooms->session_count(), 1U);
}

TEST_F(VoiceSessionsTest, SessionIdIsNeverZero) {
    next_ids = {0, 0, 77};
    EXPECT_EQ(connected().session_id, 77U);
}

TEST_F(VoiceSessionsTest, EveryAddressHasASessionOfItsOwn) {
    Client& first = connected();
    Client& second = connected();
    EXPECT_NE(first.session_id, second.session_id);
    EXPECT_EQ(rooms->session_count(), 2U);
}

TEST_F(VoiceSessionsTest, ServicePacketsCarryConsecutiveSequenceNumbersPerSession) {
    Client& client = connected();
    for (int i = 0; i < 3; ++i) {
        client.send(Type::heartbeat, {0, 0, 0, 1});
    }
    const auto answers = client.take();
    ASSERT_EQ(answers.size(), 3U);
    EXPECT_EQ(answers[0].sequence, 1U);
    EXPECT_EQ(answers[1].sequence, 2U);
    EXPECT_EQ(answers[2].sequence, 3U);
}

TEST_F(VoiceSessionsTest, HeartbeatIsAnsweredWithItsPayload) {
    Client& client = connected();
    client.send(Type::heartbeat, {0xDE, 0xAD, 0xBE, 0xEF});
    const auto answers = client.take();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].type, Type::heartbeat_ack);
    EXPECT_EQ(answers[0].session_id, client.session_id);
    EXPECT_EQ(answers[0].payload, (Bytes{0xDE, 0xAD, 0xBE, 0xEF}));
}

TEST_F(VoiceSessionsTest, HeartbeatAnswerEchoesFourBytesAtMost) {
    Client& client = connected();
    client.send(Type::heartbeat, Bytes(60000, 9));
    client.send(Type::heartbeat, {});
    const auto answers = client.take();
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0].payload, Bytes(4, 9));
    EXPECT_TRUE(answers[1].payload.empty());
}

TEST_F(VoiceSessionsTest, StrangerGetsA13ByteDisconnectWhateverItSends) {
    Client& client = stranger();
    for (int type = 0; type < 256; ++type) {
        const auto code = static_cast<Type>(type);
        if (code == Type::connect || code == Type::disconnect) {
            continue;
        }
        client.send_as(5, 0, code, Bytes(1000, 1));
        const auto answers = client.take();
        ASSERT_EQ(answers.size(), 1U) << type;
        EXPECT_EQ(answers[0].type, Type::disconnect);
        EXPECT_TRUE(answers[0].payload.empty());
    }
    EXPECT_EQ(rooms->session_count(), 0U);
}

TEST_F(VoiceSessionsTest, DisconnectIsNeverAnswered) {
    Client& client = stranger();
    client.send_as(5, 0, Type::disconnect);
    EXPECT_TRUE(client.take().empty());
    Client& known = connected();
    known.send(Type::disconnect);
    EXPECT_TRUE(known.take().empty());
}

TEST_F(VoiceSessionsTest, AnswersToStrangersAreLimitedInRate) {
    Client& client = stranger();
    for (int i = 0; i < 3 * k_farewell_burst; ++i) {
        client.send_as(5, 0, Type::audio);
    }
    EXPECT_EQ(client.take().size(), std::size_t{k_farewell_burst});
    pass(100);
    for (int i = 0; i < 3 * k_farewell_burst; ++i) {
        client.send_as(5, 0, Type::audio);
    }
    EXPECT_EQ(client.take().size(), std::size_t{k_farewell_rate / 10});
}

TEST_F(VoiceSessionsTest, DatagramWithAForeignSessionIdIsIgnored) {
    Client& client = member("r", "ana");
    Client& other = member("r", "bob");
    for (const Type type : {Type::heartbeat, Type::disconnect, Type::leave_room, Type::join_room,
                            Type::chat, Type::speaking}) {
        client.send_as(client.session_id + 1, 50, type, {1});
        client.send_as(other.session_id, 51, type, {1});
        client.send_as(0, 52, type, {1});
    }
    EXPECT_TRUE(client.take().empty());
    EXPECT_TRUE(other.take().empty());
    EXPECT_EQ(rooms->session_count(), 2U);
}

TEST_F(VoiceSessionsTest, SessionOfAnotherAddressCannotBeUsed) {
    Client& client = connected();
    Client& thief = stranger();
    thief.send_as(client.session_id, 1, Type::disconnect);
    thief.send_as(client.session_id, 2, Type::heartbeat, {1, 2, 3, 4});
    EXPECT_EQ(rooms->session_count(), 1U);
    EXPECT_EQ(thief.take_text(Type::disconnect), "");
}

TEST_F(VoiceSessionsTest, DisconnectEndsTheSessionAndTellsTheRoom) {
    Client& client = member("r", "ana");
    Client& other = member("r", "bob");
    client.send(Type::disconnect);
    EXPECT_EQ(rooms->session_count(), 1U);
    EXPECT_EQ(other.take_text(Type::peer_left), R"({"peerId":"p1","username":"ana"})");
    client.send(Type::heartbeat, {1, 2, 3, 4});
    EXPECT_EQ(client.take_text(Type::disconnect), "");
}

TEST_F(VoiceSessionsTest, SilentSessionEndsAfter30SecondsWithDisconnectAndPeerLeft) {
    Client& client = member("r", "ana");
    Client& other = member("r", "bob");
    for (int second = 0; second < 29; ++second) {
        run(1000);
        other.send(Type::heartbeat, {0, 0, 0, 0});
    }
    EXPECT_TRUE(client.take(Type::disconnect).empty());
    EXPECT_TRUE(other.take(Type::peer_left).empty());
    run(990);
    EXPECT_TRUE(client.take(Type::disconnect).empty());
    run(10);
    const auto farewell = client.take(Type::disconnect);
    ASSERT_EQ(farewell.size(), 1U);
    EXPECT_EQ(farewell[0].session_id, client.session_id);
    EXPECT_EQ(other.take_text(Type::peer_left), R"({"peerId":"p1","username":"ana"})");
    EXPECT_EQ(rooms->session_count(), 1U);
}

TEST_F(VoiceSessionsTest, AnyDatagramWithTheRightIdKeepsASessionAlive) {
    Client& client = connected();
    for (const auto type : {Type::speaking, Type::audio, Type::error, static_cast<Type>(200)}) {
        run(29'000);
        client.send(type);
    }
    EXPECT_EQ(rooms->session_count(), 1U);
}

TEST_F(VoiceSessionsTest, DatagramWithAForeignIdKeepsNothingAlive) {
    Client& client = connected();
    run(29'000);
    client.send_as(client.session_id + 1, 5, Type::heartbeat, {0, 0, 0, 0});
    run(1'000);
    EXPECT_EQ(rooms->session_count(), 0U);
}

TEST_F(VoiceSessionsTest, MissedHeartbeatIsAnsweredUnaskedEverySecondUntilTheClientGoesOn) {
    Client& client = connected();
    client.send(Type::heartbeat, {0, 0, 0, 0});
    client.take();
    run(k_heartbeat_missed_ms - 10);
    EXPECT_TRUE(client.take().empty());
    run(10);
    EXPECT_EQ(client.take_text(Type::heartbeat_ack), "");
    run(990);
    EXPECT_TRUE(client.take().empty());
    run(10);
    EXPECT_EQ(client.take_text(Type::heartbeat_ack), "");
    client.send(Type::heartbeat, {0, 0, 0, 0});
    client.take();
    run(k_heartbeat_missed_ms - 10);
    EXPECT_TRUE(client.take().empty());
}

// A client measures the round trip from its last heartbeat, which went out up to a second after the
// last one that arrived, and uses what it measures up to 4999 ms.
TEST_F(VoiceSessionsTest, UnaskedHeartbeatAnswerIsTooLateToBeTakenForAMeasurement) {
    EXPECT_GT(k_heartbeat_missed_ms - 1'000, 4'999);
}

TEST_F(VoiceSessionsTest, ClientWhoseFirstHeartbeatWasLostIsNudgedToo) {
    Client& client = connected();
    client.join("r", "ana");
    client.take();
    run(k_heartbeat_missed_ms);
    EXPECT_EQ(client.take(Type::heartbeat_ack).size(), 1U);
}

// Its join and its only heartbeat were lost; it has nothing else to say before somebody speaks.
TEST_F(VoiceSessionsTest, ClientThatIsSilentFromTheFirstKeepsItsSessionFor30Seconds) {
    Client& client = connected();
    run(k_idle_ms - 10);
    client.join("r", "ana");
    EXPECT_EQ(client.take(Type::join_room).size(), 1U);
}

TEST_F(VoiceSessionsTest, SessionsThatEndInOneTickLeaveNobodyOutBesideThem) {
    std::vector<Client*> silent;
    std::vector<Client*> waiting;
    for (int i = 0; i < 20; ++i) {
        silent.push_back(&member("r", "s" + std::to_string(i)));
    }
    run(k_idle_ms - k_heartbeat_missed_ms);
    for (int i = 0; i < 10; ++i) {
        waiting.push_back(&member("r", "w" + std::to_string(i)));
    }
    run(k_heartbeat_missed_ms - 10);
    forget_all();
    EXPECT_EQ(rooms->session_count(), 30U);
    run(10);
    EXPECT_EQ(rooms->session_count(), 10U);
    for (Client* const client : silent) {
        EXPECT_EQ(client->take(Type::disconnect).size(), 1U);
    }
    for (Client* const client : waiting) {
        const auto packets = client->take();
        ASSERT_EQ(packets.size(), 21U);
        EXPECT_EQ(std::ranges::count(packets, Type::peer_left, &Received::type), 20);
        EXPECT_EQ(std::ranges::count(packets, Type::heartbeat_ack, &Received::type), 1);
    }
}

TEST_F(VoiceSessionsTest, AddressThatNeverShowedItsIdGetsNothingButTheFarewell) {
    Client& forged = stranger();
    forged.send_as(0, 0, Type::connect);
    forged.take();
    run(k_idle_ms);
    const auto packets = forged.take();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].type, Type::disconnect);
}

TEST_F(VoiceSessionsTest, DisconnectAllTellsEveryClientAndForgetsThem) {
    Client& first = member("r", "ana");
    Client& second = connected();
    rooms->disconnect_all();
    EXPECT_EQ(first.take_text(Type::disconnect), "");
    EXPECT_EQ(second.take_text(Type::disconnect), "");
    EXPECT_EQ(rooms->session_count(), 0U);
    EXPECT_EQ(rooms->room_count(), 0U);
}

TEST_F(VoiceSessionsTest, DatagramsShorterThanAHeaderAreIgnored) {
    Client& client = connected();
    for (std::size_t length = 0; length < k_voice_header_bytes; ++length) {
        Bytes datagram(length, 4);
        rooms->handle(datagram, client.address(), now);
        rooms->handle(datagram, stranger().address(), now);
    }
    rooms->handle({}, client.address(), now);
    EXPECT_TRUE(client.take().empty());
}

TEST_F(VoiceSessionsTest, UnknownTypesAndThoseOnlyTheServiceSendsAreIgnored) {
    Client& client = member("r", "ana");
    Client& other = member("r", "bob");
    for (int type = 0; type < 256; ++type) {
        const auto code = static_cast<Type>(type);
        if (type == 0 || type > 14 || code == Type::connect_ack || code == Type::heartbeat_ack ||
            code == Type::peer_joined || code == Type::peer_left || code == Type::room_update ||
            code == Type::error) {
            client.send_text(code, R"({"roomId":"x","username":"y"})");
        }
    }
    EXPECT_TRUE(client.take().empty());
    EXPECT_TRUE(other.take().empty());
}

TEST_F(VoiceSessionsTest, LargestDatagramsOfEveryTypeAreSurvived) {
    Client& client = member("r", "ana");
    Client& other = member("r", "bob");
    for (int type = 0; type < 256; ++type) {
        if (static_cast<Type>(type) != Type::disconnect &&
            static_cast<Type>(type) != Type::connect) {
            client.send(static_cast<Type>(type), Bytes(65507 - k_voice_header_bytes, '{'));
        }
    }
    run(100);
    EXPECT_EQ(rooms->session_count(), 2U);
    for (const Received& packet : other.take()) {
        EXPECT_LE(packet.payload.size(), 4 + k_block_bytes);
    }
}

TEST_F(VoiceSessionsTest, RandomDatagramsFromManyAddressesAreSurvived) {
    std::mt19937 random(7);
    for (int i = 0; i < 20'000; ++i) {
        Bytes datagram(random() % 80);
        for (std::uint8_t& byte : datagram) {
            byte = static_cast<std::uint8_t>(random());
        }
        if (!datagram.empty()) {
            datagram[0] = static_cast<std::uint8_t>(random() % 16);
        }
        rooms->handle(datagram, {k_udp_loopback, static_cast<std::uint16_t>(random() % 3000)}, now);
        if (i % 50 == 0) {
            run(10);
        }
        ASSERT_LE(rooms->session_count(), k_max_sessions);
    }
}

} // namespace
