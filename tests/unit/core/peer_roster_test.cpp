// The roster: every operation, its limits, and the order in which the view sees its changes.
#include "unit/core/core_fixture.h"

#include "base/text.h"

#include <chrono>

namespace {

class Roster : public CoreTest {
  protected:
    static void set_local_user(const char* name) { app_state_set_username(name); }

    /// The roster as the fake interface writes it.
    static std::string roster() {
        journal_reset();
        refresh_peer_view();
        const std::string line = journal_lines("GUI_UpdatePeerList(").back();
        journal_reset();
        return line.substr(19, line.size() - 20);
    }

    static std::string numbered(const char* prefix, int number) {
        return prefix + std::to_string(number);
    }

    static void fill_roster() {
        for (int i = 0; i < k_max_peers; ++i) {
            AddOrUpdatePeer(numbered("p", i).c_str(), numbered("user", i).c_str());
        }
    }
};

class JsonString : public CoreTest {};
class AppStateRecord : public CoreTest {};

const std::string k_long(80, 'L');
const std::string k_63 = k_long.substr(0, 63);

TEST_F(AppStateRecord, UserNameIsCutAt63Bytes) {
    app_state_set_username(k_long.c_str());
    EXPECT_EQ(g_appState.username, k_63);
    app_state_set_username(nullptr);
    EXPECT_STREQ(g_appState.username, "");
}

static_assert(offsetof(AppState, username) < offsetof(AppState, serverUrl) &&
              offsetof(AppState, serverUrl) < offsetof(AppState, roomId) &&
              offsetof(AppState, roomId) < offsetof(AppState, connectionState) &&
              offsetof(AppState, connectionState) < offsetof(AppState, muted) &&
              offsetof(AppState, muted) < offsetof(AppState, deafened) &&
              offsetof(AppState, deafened) < offsetof(AppState, loopback) &&
              offsetof(AppState, loopback) < offsetof(AppState, inputGain) &&
              offsetof(AppState, inputGain) < offsetof(AppState, outputVolume) &&
              offsetof(AppState, outputVolume) < offsetof(AppState, bitrate));
static_assert(sizeof AppState::username == 64 && sizeof AppState::serverUrl == 256 &&
              sizeof AppState::roomId == 64);
static_assert(offsetof(Peer, id) == 0 && offsetof(Peer, username) == 64 &&
              offsetof(Peer, speaking) == 128);

TEST_F(AppStateRecord, FlagsAreOneByteAndNumbersFour) {
    EXPECT_EQ(sizeof g_appState.muted, 1U);
    EXPECT_EQ(sizeof g_appState.deafened, 1U);
    EXPECT_EQ(sizeof g_appState.loopback, 1U);
    EXPECT_EQ(sizeof g_appState.connectionState, 4U);
    EXPECT_EQ(sizeof g_appState.inputGain, 4U);
    EXPECT_EQ(sizeof g_appState.outputVolume, 4U);
    EXPECT_EQ(sizeof g_appState.bitrate, 4U);
    EXPECT_EQ(sizeof(Peer), 129U);
}

TEST_F(Roster, LocalUserNameIsComparedByteForByte) {
    EXPECT_FALSE(IsLocalUsername("ana"));
    EXPECT_FALSE(IsLocalUsername(""));
    set_local_user("ana");
    EXPECT_TRUE(IsLocalUsername("ana"));
    EXPECT_FALSE(IsLocalUsername("Ana"));
    EXPECT_FALSE(IsLocalUsername("ana "));
    EXPECT_FALSE(IsLocalUsername(""));
    EXPECT_FALSE(IsLocalUsername(nullptr));
}

TEST_F(Roster, FindsTheFirstEntryWithExactlyThisKey) {
    AddPeerToList("bob");
    AddOrUpdatePeer("p2", "carol");
    copy_text(g_peerList[0].id, "p2");
    EXPECT_EQ(FindPeerById("p2"), &g_peerList[0]);
    EXPECT_EQ(FindPeerByUsername("carol"), &g_peerList[1]);
    EXPECT_EQ(FindPeerById("P2"), nullptr);
    EXPECT_EQ(FindPeerByUsername("caro"), nullptr);
}

TEST_F(Roster, FindsNothingForAnEmptyOrAbsentKey) {
    AddOrUpdatePeer("p1", nullptr);
    AddOrUpdatePeer(nullptr, "bob");
    EXPECT_EQ(FindPeerById(""), nullptr);
    EXPECT_EQ(FindPeerById(nullptr), nullptr);
    EXPECT_EQ(FindPeerByUsername(""), nullptr);
    EXPECT_EQ(FindPeerByUsername(nullptr), nullptr);
}

TEST_F(Roster, FindsNoEntryPastTheCount) {
    AddOrUpdatePeer("p1", "bob");
    ClearPeerList();
    EXPECT_EQ(FindPeerById("p1"), nullptr);
    EXPECT_EQ(FindPeerByUsername("bob"), nullptr);
}

TEST_F(Roster, AddsInOrderOfArrivalWithoutRefreshingTheView) {
    AddOrUpdatePeer("p2", "zoe");
    AddOrUpdatePeer("p1", "ana");
    AddOrUpdatePeer("p3", nullptr);
    AddOrUpdatePeer("", "bob");
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(roster(), "p2=zoe, p1=ana, p3=, =bob");
}

TEST_F(Roster, AddWithoutAnyKeyDoesNothing) {
    AddOrUpdatePeer("", "");
    AddOrUpdatePeer(nullptr, nullptr);
    EXPECT_EQ(g_peerCount, 0);
}

TEST_F(Roster, LocalUserIsNotAddedEvenWithAnId) {
    set_local_user("ana");
    AddOrUpdatePeer("p1", "ana");
    EXPECT_EQ(g_peerCount, 0);
}

TEST_F(Roster, LocalUserNameDoesNotRenameAKnownPeer) {
    set_local_user("ana");
    AddOrUpdatePeer("p1", "bob");
    AddOrUpdatePeer("p1", "ana");
    EXPECT_EQ(roster(), "p1=bob");
}

TEST_F(Roster, ThirtyThirdPeerIsIgnored) {
    fill_roster();
    const std::string full = roster();
    AddOrUpdatePeer("p32", "user32");
    EXPECT_EQ(g_peerCount, 32);
    EXPECT_EQ(roster(), full);
}

TEST_F(Roster, FullRosterStillUpdatesAKnownPeer) {
    fill_roster();
    AddOrUpdatePeer("p31", "renamed");
    EXPECT_EQ(g_peerCount, 32);
    EXPECT_STREQ(g_peerList[31].username, "renamed");
}

TEST_F(Roster, EmptyIdWithAKnownUserNameKeepsTheId) {
    AddOrUpdatePeer("p1", "bob");
    AddOrUpdatePeer("", "bob");
    EXPECT_EQ(roster(), "p1=bob");
}

TEST_F(Roster, KnownIdTakesTheNewUserName) {
    AddOrUpdatePeer("p1", "bob");
    AddOrUpdatePeer("p1", "rob");
    EXPECT_EQ(roster(), "p1=rob");
}

TEST_F(Roster, EmptyUserNameKeepsTheStoredOne) {
    AddOrUpdatePeer("p1", "bob");
    AddOrUpdatePeer("p1", "");
    EXPECT_EQ(roster(), "p1=bob");
}

TEST_F(Roster, UnknownIdWithAKnownUserNameCompletesThatEntry) {
    AddOrUpdatePeer("", "bob");
    AddOrUpdatePeer("p9", "bob");
    EXPECT_EQ(roster(), "p9=bob");
}

TEST_F(Roster, IdDecidesBeforeTheUserName) {
    AddOrUpdatePeer("p1", "bob");
    AddOrUpdatePeer("p2", "carol");
    AddOrUpdatePeer("p2", "bob");
    EXPECT_EQ(roster(), "p1=bob, p2=bob");
}

TEST_F(Roster, UpdateKeepsSpeakingAndANewEntryStartsSilent) {
    AddOrUpdatePeer("p1", "bob");
    set_peer_speaking("p1", true);
    AddOrUpdatePeer("p1", "rob");
    EXPECT_EQ(roster(), "p1=rob*");
    ClearPeerList();
    AddOrUpdatePeer("p2", nullptr);
    EXPECT_EQ(roster(), "p2=");
}

TEST_F(Roster, KeysAreCutAt63Bytes) {
    AddOrUpdatePeer(k_long.c_str(), k_long.c_str());
    EXPECT_EQ(g_peerList[0].id, k_63);
    EXPECT_EQ(g_peerList[0].username, k_63);
}

TEST_F(Roster, RemoveMovesLaterEntriesDownInOrder) {
    AddOrUpdatePeer("p1", "ana");
    AddOrUpdatePeer("p2", "bob");
    AddOrUpdatePeer("p3", "carol");
    set_peer_speaking("p3", true);
    journal_reset();
    RemovePeerByIdOrUsername("p2", nullptr);
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(roster(), "p1=ana, p3=carol*");
}

TEST_F(Roster, RemoveTakesTheFirstEntryThatMatchesEitherKey) {
    AddOrUpdatePeer("p1", "ana");
    AddOrUpdatePeer("p2", "bob");
    RemovePeerByIdOrUsername("p2", "ana");
    EXPECT_EQ(roster(), "p2=bob");
}

TEST_F(Roster, RemoveWithoutAMatchOrAKeyChangesNothing) {
    AddOrUpdatePeer("p1", nullptr);
    AddOrUpdatePeer(nullptr, "bob");
    RemovePeerByIdOrUsername("", "");
    RemovePeerByIdOrUsername(nullptr, nullptr);
    RemovePeerByIdOrUsername("p9", "zoe");
    EXPECT_EQ(roster(), "p1=, =bob");
}

TEST_F(Roster, RemoveFromAFullRosterReadsNothingPastItsEnd) {
    fill_roster();
    RemovePeerByIdOrUsername("p0", nullptr);
    EXPECT_EQ(g_peerCount, 31);
    EXPECT_STREQ(g_peerList[30].id, "p31");
    RemovePeerByIdOrUsername("p31", nullptr);
    EXPECT_EQ(g_peerCount, 30);
}

TEST_F(Roster, RemovedRecordPastTheEndIsNotCleared) {
    AddOrUpdatePeer("p1", "bob");
    RemovePeerByIdOrUsername("p1", nullptr);
    EXPECT_STREQ(g_peerList[0].id, "p1");
}

TEST_F(Roster, AddByNameKeepsTheStaleIdAndSpeakingFlag) {
    AddOrUpdatePeer("p1", "bob");
    set_peer_speaking("p1", true);
    RemovePeerByIdOrUsername("p1", nullptr);
    AddPeerToList("carol");
    EXPECT_EQ(roster(), "p1=carol*");
}

TEST_F(Roster, AddByNameRefreshesTheViewAndIgnoresAKnownName) {
    AddPeerToList("bob");
    AddPeerToList("bob");
    EXPECT_EQ(journal_lines(), Lines{"GUI_UpdatePeerList(=bob)"});
}

TEST_F(Roster, AddByNameIgnoresAnEmptyNameThatIsThere) {
    AddPeerToList("");
    AddPeerToList("");
    EXPECT_EQ(journal_lines(), Lines{"GUI_UpdatePeerList(=)"});
    ClearPeerList();
    journal_reset();
    AddOrUpdatePeer("p1", nullptr);
    AddPeerToList("");
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(g_peerCount, 1);
}

TEST_F(Roster, AddByNameIgnoresA33rdPeerAndCutsAt63Bytes) {
    AddPeerToList(k_long.c_str());
    EXPECT_EQ(g_peerList[0].username, k_63);
    for (int i = 1; i < 40; ++i) {
        AddPeerToList(numbered("user", i).c_str());
    }
    EXPECT_EQ(g_peerCount, 32);
    AddPeerToList(nullptr);
    EXPECT_EQ(g_peerCount, 32);
}

TEST_F(Roster, AddByNameAcceptsTheLocalUser) {
    set_local_user("ana");
    AddPeerToList("ana");
    EXPECT_EQ(roster(), "=ana");
}

TEST_F(Roster, RemoveByNameRefreshesTheViewAlsoWithoutAMatch) {
    AddOrUpdatePeer("p1", "bob");
    RemovePeerFromList("p1");
    RemovePeerFromList("bob");
    EXPECT_EQ(journal_lines(), (Lines{"GUI_UpdatePeerList(p1=bob)", "GUI_UpdatePeerList()"}));
}

TEST_F(Roster, ClearRefreshesTheViewWithAnEmptyRoster) {
    AddOrUpdatePeer("p1", "bob");
    ClearPeerList();
    EXPECT_EQ(g_peerCount, 0);
    EXPECT_EQ(journal_lines(), Lines{"GUI_UpdatePeerList()"});
}

TEST_F(Roster, SpeakingOfAnUnknownIdIsIgnored) {
    AddOrUpdatePeer("p1", "bob");
    set_peer_speaking("p2", true);
    set_peer_speaking("", true);
    set_peer_speaking(nullptr, true);
    EXPECT_EQ(journal_lines(), Lines{});
}

TEST_F(Roster, SyncReplacesTheRosterAndRefreshesTheViewOnce) {
    AddOrUpdatePeer("old", "gone");
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p1","username":"bob"},)"
                               R"({"id":"p2","username":"carol"}]})");
    EXPECT_EQ(journal_lines(), Lines{"GUI_UpdatePeerList(p1=bob, p2=carol)"});
}

TEST_F(Roster, SyncWithoutTheArrayLeavesTheRosterUntouched) {
    AddOrUpdatePeer("p1", "bob");
    SyncPeersFromExistingPeers(R"({"id":"p2","username":"carol"})");
    SyncPeersFromExistingPeers(R"({"existingPeers": [{"id":"p2"}]})");
    SyncPeersFromExistingPeers("");
    SyncPeersFromExistingPeers(nullptr);
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(roster(), "p1=bob");
}

TEST_F(Roster, SyncWithAnEmptyArrayClearsTheRosterAndRefreshesTheView) {
    AddOrUpdatePeer("p1", "bob");
    SyncPeersFromExistingPeers(R"({"existingPeers":[]})");
    EXPECT_EQ(g_peerCount, 0);
    EXPECT_EQ(journal_lines(), Lines{"GUI_UpdatePeerList()"});
}

TEST_F(Roster, SyncSkipsTheLocalUser) {
    set_local_user("ana");
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p1","username":"ana"},)"
                               R"({"id":"p2","username":"bob"}]})");
    EXPECT_EQ(roster(), "p2=bob");
}

TEST_F(Roster, SyncIgnoresWhatStandsBeforeTheArray) {
    SyncPeersFromExistingPeers(
        R"({"id":"me","username":"ana","existingPeers":[{"id":"p1","username":"bob"}]})");
    EXPECT_EQ(roster(), "p1=bob");
}

TEST_F(Roster, SyncGoesOnPastTheArraysEnd) {
    SyncPeersFromExistingPeers(
        R"({"existingPeers":[],"room":{"id":"r1"},"user":{"username":"zoe"}})");
    EXPECT_EQ(roster(), "r1=zoe");
}

TEST_F(Roster, SyncGivesAPeerWithoutANameTheNextOne) {
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p1"},{"id":"p2","username":"bob"}]})");
    // p1 takes bob's name, so that bob himself completes p1's entry with his own id.
    EXPECT_EQ(roster(), "p2=bob");
}

TEST_F(Roster, SyncLeavesTheNameEmptyWhenNoneFollows) {
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"username":"bob","id":"p1"},{"id":"p2"}]})");
    EXPECT_EQ(roster(), "p1=, p2=");
}

TEST_F(Roster, SyncFindsEachNameAfterItsIdAlsoWithUnevenPeers) {
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p1","username":"a"},{"id":"p2"},)"
                               R"({"id":"p3"},{"id":"p4","username":"d"},)"
                               R"({"username":"x","username":"y","id":"p5","username":"e"}]})");
    EXPECT_EQ(roster(), "p1=a, p4=d, p5=e");
}

TEST_F(Roster, SyncStopsAtAnIdWithoutAClosingQuote) {
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p1","username":"bob"},{"id":"p2)");
    EXPECT_EQ(roster(), "p1=bob");
}

TEST_F(Roster, SyncTakesAnUnclosedNameAsEmpty) {
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p1","username":"bob)");
    EXPECT_EQ(roster(), "p1=");
}

TEST_F(Roster, SyncIgnoresAnEmptyIdWithoutAName) {
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":""}]})");
    EXPECT_EQ(g_peerCount, 0);
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"","username":"bob"}]})");
    EXPECT_EQ(roster(), "=bob");
}

TEST_F(Roster, SyncDecodesNoEscapes) {
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p1","username":"bo\u0062"}]})");
    EXPECT_EQ(roster(), R"(p1=bo\u0062)");
    SyncPeersFromExistingPeers(R"({"existingPeers":[{"id":"p\"1","username":"bob"}]})");
    EXPECT_EQ(roster(), R"(p\=bob)");
}

TEST_F(Roster, SyncCutsKeysAt63BytesBeforeComparingThem) {
    set_local_user(k_long.c_str());
    SyncPeersFromExistingPeers((R"({"existingPeers":[{"id":"p1","username":")" + k_long +
                                R"("},{"id":")" + k_long + R"(","username":"bob"}]})")
                                   .c_str());
    EXPECT_EQ(roster(), k_63 + "=bob");
}

TEST_F(Roster, SyncDropsPeersPast32) {
    std::string json = R"({"existingPeers":[)";
    for (int i = 0; i < 40; ++i) {
        json +=
            R"({"id":"p)" + std::to_string(i) + R"(","username":"u)" + std::to_string(i) + R"("},)";
    }
    SyncPeersFromExistingPeers(json.c_str());
    EXPECT_EQ(g_peerCount, 32);
    EXPECT_STREQ(g_peerList[31].id, "p31");
}

// The largest datagram, once full of ids without any name and once with the only name at its end.
TEST_F(Roster, SyncReadsTheWorstMessageInLittleTime) {
    for (const char* tail : {"", R"("username":"bob")"}) {
        std::string json = R"({"existingPeers":[)";
        while (json.size() < 65000) {
            json += R"("id":"")";
        }
        json += tail;
        const auto start = std::chrono::steady_clock::now();
        SyncPeersFromExistingPeers(json.c_str());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    }
    EXPECT_EQ(roster(), "=bob");
}

TEST_F(Roster, WorkerRefreshReachesTheViewOnlyOnTheMainThread) {
    on_worker([] {
        AddOrUpdatePeer("p1", "bob");
        refresh_peer_view();
        AddOrUpdatePeer("p2", "carol");
        refresh_peer_view();
    });
    EXPECT_EQ(journal_lines(), Lines{});
    fake_main_queue_run();
    EXPECT_EQ(journal_lines(),
              (Lines{"GUI_UpdatePeerList(p1=bob)", "GUI_UpdatePeerList(p1=bob, p2=carol)"}));
}

TEST_F(Roster, WorkersOlderRefreshNeverOverwritesANewerOneOfTheMainThread) {
    on_worker([] {
        AddOrUpdatePeer("p1", "bob");
        refresh_peer_view();
    });
    ClearPeerList();
    EXPECT_EQ(fake_main_queue_run(), 1);
    EXPECT_EQ(journal_lines(), Lines{"GUI_UpdatePeerList()"});
}

TEST_F(Roster, WorkersNewerRefreshFollowsTheMainThreads) {
    ClearPeerList();
    on_worker([] {
        AddOrUpdatePeer("p1", "bob");
        refresh_peer_view();
    });
    fake_main_queue_run();
    EXPECT_EQ(journal_lines(), (Lines{"GUI_UpdatePeerList()", "GUI_UpdatePeerList(p1=bob)"}));
}

TEST_F(JsonString, TakesTheFirstStringValueOfTheKey) {
    char out[64];
    EXPECT_TRUE(JsonExtractString(R"({"a":"1","b":"2","a":"3"})", "a", out, sizeof out));
    EXPECT_STREQ(out, "1");
    EXPECT_TRUE(JsonExtractString(R"({"x":{"b":"deep"}})", "b", out, sizeof out));
    EXPECT_STREQ(out, "deep");
}

TEST_F(JsonString, EmptyValueIsFalseAndLeavesOutEmpty) {
    char out[8] = "before";
    EXPECT_FALSE(JsonExtractString(R"({"username":""})", "username", out, sizeof out));
    EXPECT_STREQ(out, "");
}

TEST_F(JsonString, MissingKeyOrUnclosedValueIsFalseAndLeavesOutEmpty) {
    for (const char* json :
         {"", "{}", R"({"username":"bob)", R"({"username":)", R"({"username":5})",
          R"({"username": "bob"})", R"({"user":"bob"})", R"({"username":"})"}) {
        char out[8] = "before";
        EXPECT_FALSE(JsonExtractString(json, "username", out, sizeof out)) << json;
        EXPECT_STREQ(out, "") << json;
    }
}

TEST_F(JsonString, OnlyTheFirstOccurrenceCountsEvenWhenEmpty) {
    char out[8];
    EXPECT_FALSE(JsonExtractString(R"({"k":"","k":"x"})", "k", out, sizeof out));
}

TEST_F(JsonString, AbsentArgumentsAreFalse) {
    char out[8] = "before";
    EXPECT_FALSE(JsonExtractString(nullptr, "k", out, sizeof out));
    EXPECT_FALSE(JsonExtractString(R"({"k":"v"})", nullptr, out, sizeof out));
    EXPECT_FALSE(JsonExtractString(R"({"k":"v"})", "k", nullptr, 8));
    EXPECT_FALSE(JsonExtractString(R"({"k":"v"})", "k", out, 0));
    EXPECT_STREQ(out, "before");
}

TEST_F(JsonString, ValueIsCutToTheBuffer) {
    char out[4];
    EXPECT_TRUE(JsonExtractString(R"({"k":"abcdef"})", "k", out, sizeof out));
    EXPECT_STREQ(out, "abc");
    char one[1];
    EXPECT_TRUE(JsonExtractString(R"({"k":"abcdef"})", "k", one, sizeof one));
    EXPECT_STREQ(one, "");
}

TEST_F(JsonString, EscapesAreNotDecoded) {
    char out[16];
    EXPECT_TRUE(JsonExtractString(R"({"k":"a\nb\"c"})", "k", out, sizeof out));
    EXPECT_STREQ(out, R"(a\nb\)");
}

TEST_F(JsonString, KeyTooLongForThePatternIsCut) {
    // The pattern keeps its opening quote and 62 bytes of the key; the value begins right after.
    const std::string key(70, 'k');
    char out[32];
    EXPECT_TRUE(
        JsonExtractString((R"({")" + key + R"(":"v"})").c_str(), key.c_str(), out, sizeof out));
    EXPECT_STREQ(out, "kkkkkkkk");
    const std::string longest(59, 'k');
    EXPECT_TRUE(JsonExtractString((R"({")" + longest + R"(":"v"})").c_str(), longest.c_str(), out,
                                  sizeof out));
    EXPECT_STREQ(out, "v");
}

} // namespace
