// What the service tells, read by the client's own scanners: who ends up in the client's roster.
#include "core/app_state.h"
#include "core/peer_roster.h"
#include "ui/gui_facade.h"
#include "unit/service/voice_rooms_fixture.h"

#include <algorithm>

// The roster's only neighbour.
void GUI_UpdatePeerList(const Peer*, int) {}

namespace {

using Type = VoicePacketType;

/// A room seen through the roster of its member "ana".
class VoiceRosterTest : public VoiceRoomsTest {
  protected:
    VoiceRosterTest() {
        app_state_set_username("ana");
        ClearPeerList();
    }

    /// Does with the packets what the client's voice session does with them.
    void deliver(Client& client) {
        for (const Received& packet : client.take()) {
            const std::string text = packet.text();
            char id[64];
            char username[64];
            switch (packet.type) {
            case Type::join_room:
            case Type::peer_joined:
            case Type::room_update:
                SyncPeersFromExistingPeers(text.c_str());
                if (JsonExtractString(text.c_str(), "username", username, sizeof username)) {
                    AddOrUpdatePeer(nullptr, username);
                }
                break;
            case Type::peer_left:
                SyncPeersFromExistingPeers(text.c_str());
                JsonExtractString(text.c_str(), "peerId", id, sizeof id);
                JsonExtractString(text.c_str(), "username", username, sizeof username);
                RemovePeerByIdOrUsername(id, username);
                break;
            case Type::speaking:
                JsonExtractString(text.c_str(), "peerId", id, sizeof id);
                set_peer_speaking(id, text.find("true") != std::string::npos);
                break;
            default:
                break;
            }
        }
    }
    static std::vector<std::string> roster() {
        std::vector<std::string> entries;
        for (int i = 0; i < g_peerCount; ++i) {
            const Peer& peer = g_peerList[i];
            entries.push_back(std::string(peer.id) + " " + peer.username +
                              (peer.speaking != 0 ? " speaks" : ""));
        }
        return entries;
    }
    using Roster = std::vector<std::string>;
};

TEST_F(VoiceRosterTest, FollowsWhoComesSpeaksChangesNamesAndGoes) {
    Client& bob = connected();
    bob.join("r", "bob");
    Client& ana = connected();
    ana.join("r", "ana");
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p1 bob"});

    bob.send(Type::speaking, {1});
    Client& eva = connected();
    eva.join("r", "eva");
    deliver(ana);
    EXPECT_EQ(roster(), (Roster{"p1 bob speaks", "p3 eva"}));

    eva.join("r", "evelyn");
    deliver(ana);
    EXPECT_EQ(roster(), (Roster{"p1 bob speaks", "p3 evelyn"}));

    bob.leave();
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p3 evelyn"});
    eva.send(Type::disconnect);
    deliver(ana);
    EXPECT_EQ(roster(), Roster{});
}

TEST_F(VoiceRosterTest, PersonBackFromABrokenNetworkStaysWhenTheOldSessionRunsOut) {
    Client& ana = connected();
    ana.join("r", "ana");
    Client& old_bob = connected();
    old_bob.join("r", "bob");
    for (int i = 0; i < 20; ++i) {
        run(1000);
        ana.send(Type::heartbeat, {0, 0, 0, 0});
    }
    Client& new_bob = connected();
    new_bob.join("r", "bob");
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p3 bob"});
    new_bob.send(Type::speaking, {1});
    for (int i = 0; i < 15; ++i) {
        run(1000);
        ana.send(Type::heartbeat, {0, 0, 0, 0});
        new_bob.send(Type::heartbeat, {0, 0, 0, 0});
    }
    EXPECT_EQ(rooms->session_count(), 2U);
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p3 bob speaks"});
}

TEST_F(VoiceRosterTest, SecondMachineOfOnePersonLeavesTheFirstInTheRoster) {
    Client& ana = connected();
    ana.join("r", "ana");
    connected().join("r", "bob");
    Client& second = connected();
    second.join("r", "bob");
    second.leave();
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p2 bob"});
}

TEST_F(VoiceRosterTest, OwnNamesakeIsNeverInTheRoster) {
    Client& ana = connected();
    ana.join("r", "ana");
    Client& twin = connected();
    twin.join("r", "ana");
    connected().join("r", "bob");
    twin.leave();
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p3 bob"});
}

TEST_F(VoiceRosterTest, PersonWhoseNameWasCutInsideACharacterIsNotInTheOwnRoster) {
    const std::string cut_name = std::string(62, 'a') + "\xC3";
    app_state_set_username(cut_name.c_str());
    connected().join("r", "bob");
    Client& ana = connected();
    ana.join("r", cut_name);
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p1 bob"});
    connected().join("r", "eva");
    deliver(ana);
    EXPECT_EQ(roster(), (Roster{"p1 bob", "p3 eva"}));
}

TEST_F(VoiceRosterTest, FullRoomFitsIntoTheRoster) {
    Client& ana = connected();
    ana.join("r", "ana");
    for (std::size_t i = 1; i < k_max_room_members; ++i) {
        connected().join("r", std::string(60, 'x') + std::to_string(100 + i));
    }
    deliver(ana);
    ASSERT_EQ(roster().size(), 31U);
    EXPECT_EQ(roster().back(), "p32 " + std::string(60, 'x') + "131");
}

// Names are chosen to look like the keys that clients scan for, as far as names may.
TEST_F(VoiceRosterTest, NamesCannotPassForKeys) {
    Client& ana = connected();
    ana.join("existingPeers:[id:x", "ana");
    connected().join("existingPeers:[id:x", "existingPeers:[{id:p9,username:eva}]");
    deliver(ana);
    EXPECT_EQ(roster(), Roster{"p2 existingPeers:[{id:p9,username:eva}]"});
}

} // namespace
