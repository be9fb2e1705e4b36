// Audio through the rules: who hears whom, in how many packets, and for how long.
#include "unit/service/voice_rooms_fixture.h"

#include <algorithm>

namespace {

using Type = VoicePacketType;

class VoiceAudioTest : public VoiceRoomsTest {
  protected:
    /// The sample in the middle of a packet, where no ramp reaches.
    static int middle(const Received& packet) { return samples_of(packet)[k_block_samples / 2]; }

    /// Everyone in `talkers` sends a packet of their value before each tick.
    void talk_for(VoiceTime milliseconds, const std::vector<std::pair<Client*, int>>& talkers) {
        for (VoiceTime passed = 0; passed < milliseconds; passed += k_tick_ms) {
            for (const auto& [talker, value] : talkers) {
                talker->talk(static_cast<std::int16_t>(value));
            }
            run(k_tick_ms);
        }
    }
    /// What the client heard last, after forgetting everything up to now and another tick.
    int heard_now(Client& client, const std::vector<std::pair<Client*, int>>& talkers) {
        client.take();
        talk_for(k_tick_ms, talkers);
        const auto packets = client.take(Type::audio);
        EXPECT_EQ(packets.size(), 1U);
        return packets.size() == 1 ? middle(packets[0]) : -1;
    }
};

TEST_F(VoiceAudioTest, ListenerGetsOnePacketOf480FramesPerTickWhateverTheNumberOfTalkers) {
    Client& listener = member("r", "ana");
    Client& b = member("r", "b");
    Client& c = member("r", "c");
    Client& d = member("r", "d");
    talk_for(1000, {{&b, 100}, {&c, 200}, {&d, 300}});
    const auto packets = listener.take();
    ASSERT_EQ(packets.size(), 100U);
    for (const Received& packet : packets) {
        EXPECT_EQ(packet.type, Type::audio);
        EXPECT_EQ(packet.session_id, listener.session_id);
        EXPECT_EQ(packet.payload.size(), 4 + 1920U);
    }
}

TEST_F(VoiceAudioTest, TwoTalkersHearEachOtherAndNeverThemselves) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    talk_for(100, {{&ana, 1000}, {&bob, 20}});
    for (const Received& packet : ana.take(Type::audio)) {
        EXPECT_TRUE(std::ranges::all_of(samples_of(packet), [](int s) { return s <= 20; }));
    }
    EXPECT_EQ(heard_now(ana, {{&ana, 1000}, {&bob, 20}}), 20);
    EXPECT_EQ(heard_now(bob, {{&ana, 1000}, {&bob, 20}}), 1000);
}

TEST_F(VoiceAudioTest, ThreeTalkersAreSummedForAListenerAndForEachOther) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    Client& eva = member("r", "eva");
    Client& listener = member("r", "leo");
    const std::vector<std::pair<Client*, int>> all = {{&ana, 1000}, {&bob, 200}, {&eva, 30}};
    talk_for(100, all);
    EXPECT_EQ(heard_now(listener, all), 1230);
    EXPECT_EQ(heard_now(ana, all), 230);
    EXPECT_EQ(heard_now(bob, all), 1030);
    EXPECT_EQ(heard_now(eva, all), 1200);
}

TEST_F(VoiceAudioTest, OverloadIsCutToFullScaleAndOnlyOnItsWayOut) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    Client& listener = member("r", "leo");
    const std::vector<std::pair<Client*, int>> loud = {{&ana, 30000}, {&bob, 30000}};
    talk_for(100, loud);
    EXPECT_EQ(heard_now(listener, loud), 32767);
    EXPECT_EQ(heard_now(ana, loud), 30000);
}

TEST_F(VoiceAudioTest, NamesakesHearEachOther) {
    Client& first = member("r", "ana");
    Client& second = member("r", "ana");
    talk_for(50, {{&first, 7}});
    EXPECT_EQ(heard_now(second, {{&first, 7}}), 7);
}

TEST_F(VoiceAudioTest, RoomsDoNotHearEachOther) {
    Client& ana = member("a", "ana");
    Client& bob = member("a", "bob");
    Client& eva = member("b", "eva");
    Client& outside = connected();
    talk_for(100, {{&ana, 1000}});
    EXPECT_FALSE(bob.take(Type::audio).empty());
    EXPECT_TRUE(eva.take().empty());
    EXPECT_TRUE(outside.take().empty());
}

TEST_F(VoiceAudioTest, LonelyTalkerGetsNothing) {
    Client& ana = member("r", "ana");
    talk_for(100, {{&ana, 1000}});
    EXPECT_TRUE(ana.take().empty());
}

TEST_F(VoiceAudioTest, SilentRoomGetsNothing) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    run(1000);
    EXPECT_TRUE(ana.take().empty());
    EXPECT_TRUE(bob.take().empty());
}

TEST_F(VoiceAudioTest, StreamGoesOnInSilenceFor2SecondsAfterTheLastPacketAndThenEnds) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    talk_for(100, {{&ana, 1000}});
    bob.take();
    run(1980);
    const auto packets = bob.take();
    ASSERT_EQ(packets.size(), 198U);
    EXPECT_EQ(middle(packets.back()), 0);
    run(1000);
    EXPECT_LE(bob.take().size(), 1U);
    EXPECT_TRUE(ana.take().empty());
}

TEST_F(VoiceAudioTest, StreamHasNoHolesWhileATalkerPausesForASecond) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    talk_for(100, {{&ana, 1000}});
    run(1000);
    talk_for(100, {{&ana, 1000}});
    const auto packets = bob.take();
    ASSERT_EQ(packets.size(), 120U);
    for (std::size_t i = 1; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i].sequence, packets[i - 1].sequence + 1);
        EXPECT_EQ(read_big_endian_32(packets[i].payload.data()),
                  read_big_endian_32(packets[i - 1].payload.data()) + 10);
    }
}

TEST_F(VoiceAudioTest, PacketsCarryTheServicesTickCount) {
    now = 0x1'2345'6700 - 30;
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    talk_for(30, {{&ana, 1000}});
    const auto packets = bob.take();
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(read_big_endian_32(packets.back().payload.data()), 0x23456700U);
}

TEST_F(VoiceAudioTest, MutedTalkerIsSilentWhileTheOthersGoOn) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    Client& listener = member("r", "leo");
    talk_for(100, {{&ana, 1000}, {&bob, 50}});
    talk_for(50, {{&bob, 50}});
    EXPECT_EQ(heard_now(listener, {{&bob, 50}}), 50);
    EXPECT_EQ(heard_now(ana, {{&bob, 50}}), 50);
    EXPECT_EQ(heard_now(bob, {{&bob, 50}}), 0);
}

TEST_F(VoiceAudioTest, JoiningInMidStreamHearsTheNextTick) {
    Client& ana = member("r", "ana");
    member("r", "bob");
    talk_for(500, {{&ana, 1000}});
    Client& late = member("r", "eva");
    EXPECT_EQ(heard_now(late, {{&ana, 1000}}), 1000);
}

TEST_F(VoiceAudioTest, LeavingInMidWordTakesTheVoiceAlong) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    talk_for(100, {{&ana, 1000}});
    ana.leave();
    bob.take();
    talk_for(100, {{&ana, 1000}});
    EXPECT_TRUE(bob.take(Type::audio).empty());
}

TEST_F(VoiceAudioTest, AudioMeantForTheOldRoomIsNotHeardInTheNewOne) {
    Client& ana = member("a", "ana");
    Client& bob = member("b", "bob");
    const std::uint32_t before = ana.sequence;
    ana.sequence += 5;
    ana.join("b", "ana");
    forget_all();
    for (std::uint32_t i = 0; i < 5; ++i) {
        ana.send_as(ana.session_id, before + i, Type::audio, audio_payload(1000, k_block_frames));
    }
    run(100);
    EXPECT_TRUE(bob.take().empty());
}

TEST_F(VoiceAudioTest, LostDoubledAndOvertakenPacketsKeepTheStreamInOrder) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    const std::uint32_t first = ana.sequence;
    const auto send = [&](std::uint32_t number) {
        ana.send_as(ana.session_id, first + number, Type::audio,
                    audio_payload(static_cast<std::int16_t>(100 * (number + 1)), k_block_frames));
    };
    send(0);
    send(1);
    run(10);
    send(3); // overtakes 2
    run(10);
    send(2);
    send(2);
    run(10);
    send(5); // 4 is lost
    run(10);
    send(6);
    run(20);
    send(4); // too late
    run(20);
    std::vector<int> heard;
    for (const Received& packet : bob.take(Type::audio)) {
        heard.push_back(middle(packet));
    }
    EXPECT_EQ(heard, (std::vector<int>{0, 100, 200, 300, 400, 0, 600, 700}));
}

TEST_F(VoiceAudioTest, OddShortAndEmptyAudioIsIgnored) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    for (const std::size_t size : {0U, 1U, 4U, 5U, 6U, 7U, 9U, 1923U}) {
        ana.send(Type::audio, Bytes(size, 1));
    }
    run(100);
    EXPECT_TRUE(bob.take().empty());
    ana.send(Type::audio, Bytes(8, 1));
    run(10);
    EXPECT_EQ(bob.take().size(), 1U);
}

TEST_F(VoiceAudioTest, OnlyTheFirst480FramesOfAPacketAreHeard) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    ana.send(Type::audio, audio_payload(1000, 15'000));
    run(50);
    int loud = 0;
    for (const Received& packet : bob.take(Type::audio)) {
        loud += middle(packet) == 1000 ? 1 : 0;
    }
    EXPECT_EQ(loud, 1);
}

TEST_F(VoiceAudioTest, AudioIsLimitedInRate) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    // After a burst of packets without sound nothing of the loud ones behind it is let through.
    for (int i = 0; i < k_audio_burst; ++i) {
        ana.talk(0);
    }
    for (int i = 0; i < 1000; ++i) {
        ana.talk(1000);
    }
    run(100);
    for (const Received& packet : bob.take(Type::audio)) {
        EXPECT_EQ(middle(packet), 0);
    }
}

TEST_F(VoiceAudioTest, FullRoomOfTalkersEachHearsTheOther31) {
    std::vector<std::pair<Client*, int>> all;
    for (std::size_t i = 0; i < k_max_room_members; ++i) {
        all.emplace_back(&member("r", "user" + std::to_string(i)), 1 << (i % 8));
    }
    talk_for(100, all);
    const int sum = 4 * 255;
    for (const auto& [client, value] : all) {
        EXPECT_EQ(heard_now(*client, all), sum - value);
    }
}

TEST_F(VoiceAudioTest, ClientThatTalksForTwoSecondsWithoutEverAskingIsToldOnce) {
    Client& ana = connected();
    talk_for(1990, {{&ana, 1000}});
    EXPECT_TRUE(ana.take().empty());
    talk_for(20, {{&ana, 1000}});
    EXPECT_EQ(ana.take_text(Type::error),
              "La entrada en la sala se ha perdido por el camino; vuelve a entrar");
    talk_for(5000, {{&ana, 1000}});
    EXPECT_TRUE(ana.take(Type::error).empty());
}

TEST_F(VoiceAudioTest, StrayAudioAfterLeavingOrARefusedJoinIsNoLostJoin) {
    Client& ana = member("r", "ana");
    ana.leave();
    ana.talk(1000);
    run(3000);
    ana.talk(1000);
    EXPECT_TRUE(ana.take(Type::error).empty());
    ana.send_text(Type::join_room, "no json");
    ana.take();
    talk_for(3000, {{&ana, 1000}});
    EXPECT_TRUE(ana.take(Type::error).empty());
}

} // namespace
