// The voice session: what each handler sends, sets, shows and logs, and in which order.
#include "core/voice_session.h"
#include "support/allocation_counter.h"
#include "unit/core/core_fixture.h"

#include <array>
#include <atomic>

namespace {

class Session : public CoreTest {
  protected:
    Session() {
        g_fake_voice.on_connected = OnNetworkConnected;
        g_fake_voice.on_disconnected = OnNetworkDisconnected;
    }

    static void enter_room(const char* username = "ana", const char* room = "r1") {
        OnConnect(username, "host");
        OnJoinRoom(room);
        forget();
    }

    static void forget() {
        fake_main_queue_run();
        journal_reset();
        std::filesystem::remove("velmotalk_debug.log");
    }

    static ConnectionState state() { return g_appState.connectionState; }

    static std::vector<float> block(int frames, float value = 0.25F) {
        return std::vector<float>(static_cast<std::size_t>(frames) * 2, value);
    }
};

const std::string k_long(700, 'L');

TEST_F(Session, ConnectShowsTheServerThenTheState) {
    OnConnect("ana", "ws://voice:3602/ws");
    EXPECT_EQ(journal_lines(),
              (Lines{"Network_Connect(ws://voice:3602/ws)",
                     "GUI_SetStatusText(Conectado al servidor)", "GUI_UpdateConnectionState(2)"}));
    EXPECT_EQ(state(), ConnectionState::connected);
    EXPECT_STREQ(g_appState.username, "ana");
    EXPECT_STREQ(g_appState.serverUrl, "ws://voice:3602/ws");
    EXPECT_EQ(debug_log(), "Connecting: ana -> ws://voice:3602/ws\nNetwork connected\n"
                           "Network_Connect returned: 1\nConnection successful\n");
}

TEST_F(Session, NameAndAddressAreStoredBeforeConnecting) {
    std::string stored;
    journal_look_at("Network_Connect(", [&stored] {
        stored += std::string(g_appState.username) + " " + g_appState.serverUrl + ";";
    });
    OnConnect("ana", "host");
    g_fake_voice.connect_result = false;
    OnConnect("bea", "other");
    EXPECT_EQ(stored, "ana host;bea other;");
}

TEST_F(Session, StateIsConnectedOnlyAfterTheConnect) {
    std::vector<ConnectionState> states;
    journal_look_at("Network_Connect(", [&states] { states.push_back(state()); });
    OnConnect("ana", "host");
    EXPECT_EQ(states, std::vector{ConnectionState::disconnected});
}

TEST_F(Session, FailedConnectShowsAnAlertAndKeepsTheState) {
    g_fake_voice.connect_result = false;
    OnConnect("ana", "host");
    EXPECT_EQ(journal_lines(),
              (Lines{"Network_Connect(host)",
                     "GUI_ShowMessage(Error de conexión, No se pudo conectar al servidor, 3)"}));
    EXPECT_EQ(state(), ConnectionState::disconnected);
    EXPECT_EQ(debug_log(), "Connecting: ana -> host\nNetwork_Connect returned: 0\n"
                           "Connection failed!\n");
}

TEST_F(Session, ConnectCutsNameAndAddressButDialsTheWholeAddress) {
    OnConnect(k_long.c_str(), k_long.c_str());
    EXPECT_EQ(g_appState.username, k_long.substr(0, 63));
    EXPECT_EQ(g_appState.serverUrl, k_long.substr(0, 255));
    EXPECT_EQ(journal_lines("Network_Connect").front(), "Network_Connect(" + k_long + ")");
}

TEST_F(Session, AbsentTextsAreTakenAsEmpty) {
    OnConnect(nullptr, nullptr);
    OnJoinRoom(nullptr);
    OnChatSend(nullptr);
    OnNetworkError(nullptr);
    OnSpeakingState(nullptr, 1);
    EXPECT_EQ(journal_lines("Network_SendMessage"),
              Lines{R"(Network_SendMessage(0, {"roomId":"","username":""}))"});
    EXPECT_EQ(journal_lines("GUI_ShowMessage"), Lines{"GUI_ShowMessage(Error de red, , 3)"});
}

TEST_F(Session, JoinSendsTheMessageStartsAudioAndShowsTheRoom) {
    OnConnect("ana", "host");
    forget();
    OnJoinRoom("r1");
    EXPECT_EQ(journal_lines(), (Lines{R"(Network_SendMessage(0, {"roomId":"r1","username":"ana"}))",
                                      "Audio_Start()", "GUI_UpdateConnectionState(3)"}));
    EXPECT_EQ(state(), ConnectionState::in_room);
    EXPECT_STREQ(g_appState.roomId, "r1");
    EXPECT_EQ(debug_log(), "Joining room: r1\nAudio capture started\n");
}

TEST_F(Session, StateIsInTheRoomOnlyOnceAudioWasStarted) {
    OnConnect("ana", "host");
    std::vector<ConnectionState> states;
    const auto look = [&states] { states.push_back(state()); };
    journal_look_at("Audio_Start()", look);
    OnJoinRoom("r1");
    EXPECT_EQ(states, std::vector{ConnectionState::connected});
    OnLeaveRoom();
    journal_look_at("GUI_UpdateConnectionState(3)", look);
    OnJoinRoom("r1");
    EXPECT_EQ(states.back(), ConnectionState::in_room) << "and before it is shown";
}

TEST_F(Session, JoinWithoutAMicrophoneIsLoggedAndCountsAsInTheRoom) {
    g_fake_audio.start_result = 0;
    OnJoinRoom("r1");
    EXPECT_EQ(state(), ConnectionState::in_room);
    EXPECT_EQ(journal_lines("GUI_"), Lines{"GUI_UpdateConnectionState(3)"});
    EXPECT_EQ(debug_log(), "Joining room: r1\nAudio start failed\n");
}

TEST_F(Session, JoinMessageIsCutAt511Bytes) {
    OnJoinRoom(k_long.c_str());
    EXPECT_EQ(g_appState.roomId, k_long.substr(0, 63));
    EXPECT_EQ(journal_lines("Network_SendMessage").front(),
              "Network_SendMessage(0, " + (R"({"roomId":")" + k_long).substr(0, 511) + ")");
}

TEST_F(Session, LeaveEmptiesTheRosterAndKeepsCaptureRunning) {
    enter_room();
    AddOrUpdatePeer("p1", "bob");
    OnLeaveRoom();
    EXPECT_EQ(journal_lines(), (Lines{"Network_SendMessage(1, {})", "GUI_UpdatePeerList()",
                                      "GUI_UpdateConnectionState(2)"}));
    EXPECT_EQ(state(), ConnectionState::connected);
    EXPECT_STREQ(g_appState.roomId, "");
    EXPECT_EQ(g_peerCount, 0);
    EXPECT_EQ(debug_log(), "Leaving room\n");
}

TEST_F(Session, MuteReachesTheAudioEngine) {
    OnMuteToggle(true);
    EXPECT_TRUE(g_appState.muted);
    OnMuteToggle(false);
    EXPECT_FALSE(g_appState.muted);
    EXPECT_EQ(journal_lines(), (Lines{"Audio_SetMuted(1)", "Audio_SetMuted(0)"}));
    EXPECT_EQ(debug_log(), "Mute: ON\nMute: OFF\n");
}

TEST_F(Session, DeafenCallsNoAudio) {
    OnDeafenToggle(true);
    EXPECT_TRUE(g_appState.deafened);
    OnDeafenToggle(false);
    EXPECT_FALSE(g_appState.deafened);
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(debug_log(), "Deafen: ON\nDeafen: OFF\n");
}

TEST_F(Session, LoopbackReachesTheAudioEngine) {
    OnLoopbackToggle(true);
    EXPECT_TRUE(g_appState.loopback);
    OnLoopbackToggle(false);
    EXPECT_FALSE(g_appState.loopback);
    EXPECT_EQ(journal_lines(), (Lines{"Audio_SetLoopback(1)", "Audio_SetLoopback(0)"}));
    EXPECT_EQ(debug_log(), "Loopback: ON\nLoopback: OFF\n");
}

TEST_F(Session, GainAndVolumeReachTheAudioEngineAsGiven) {
    OnGainChange(1.256F);
    OnVolumeChange(0.0F);
    EXPECT_EQ(g_appState.inputGain, 1.256F);
    EXPECT_EQ(g_appState.outputVolume, 0.0F);
    EXPECT_EQ(journal_lines(), (Lines{"Audio_SetInputGain(1.256)", "Audio_SetOutputVolume(0)"}));
    EXPECT_EQ(debug_log(), "Input gain: 1.26\nOutput volume: 0.00\n");
}

TEST_F(Session, ChatInTheRoomIsSentUnescaped) {
    enter_room();
    OnChatSend("say \"hi\"");
    EXPECT_EQ(
        journal_lines(),
        Lines{R"(Network_SendMessage(6, {"room":"r1","username":"ana","message":"say "hi""}))"});
    EXPECT_EQ(debug_log(), "Chat send: say \"hi\"\n");
}

TEST_F(Session, ChatWhileConnectedButNotInARoomIsNotSent) {
    OnConnect("ana", "host");
    forget();
    OnChatSend("hello");
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(debug_log(), "Chat send: hello\n");
}

TEST_F(Session, EmptyChatIsNotSent) {
    enter_room();
    OnChatSend("");
    EXPECT_EQ(journal_lines(), Lines{});
}

TEST_F(Session, LongChatIsCutAt599Bytes) {
    enter_room();
    OnChatSend(k_long.c_str());
    const std::string whole = R"({"room":"r1","username":"ana","message":")" + k_long + "\"}";
    EXPECT_EQ(journal_lines(), Lines{"Network_SendMessage(6, " + whole.substr(0, 599) + ")"});
}

TEST_F(Session, CaptureIsProcessedEncodedAndSent) {
    enter_room();
    g_fake_audio.processing_offset = 0.5F;
    std::vector<float> samples = block(441);
    OnAudioInput(samples.data(), 441);
    EXPECT_EQ(journal_lines(),
              (Lines{"AudioProcessing_Process(882)", "OpusCodec_Encode(441, 65536)",
                     "Network_SendAudio(1764: 5a)"}));
    EXPECT_EQ(g_fake_voice.encoded, block(441, 0.75F));
    EXPECT_EQ(samples, block(441)) << "the engine's own samples changed";
}

TEST_F(Session, CaptureOf1024FramesSendsOnlyTheFirst480) {
    enter_room();
    std::vector<float> samples = block(1024);
    for (std::size_t i = 960; i < samples.size(); ++i) {
        samples[i] = -1.0F;
    }
    OnAudioInput(samples.data(), 1024);
    EXPECT_EQ(journal_lines(),
              (Lines{"AudioProcessing_Process(960)", "OpusCodec_Encode(480, 65536)",
                     "Network_SendAudio(1920: 5a)"}));
    EXPECT_EQ(g_fake_voice.encoded, block(480));
}

TEST_F(Session, CaptureOutsideARoomIsEncodedButNotSent) {
    enter_room();
    OnLeaveRoom();
    journal_reset();
    std::vector<float> samples = block(480);
    OnAudioInput(samples.data(), 480);
    EXPECT_EQ(journal_lines(),
              (Lines{"AudioProcessing_Process(960)", "OpusCodec_Encode(480, 65536)"}));
}

TEST_F(Session, CaptureThatEncodesToNothingIsNotSent) {
    enter_room();
    std::vector<float> samples = block(480);
    g_fake_voice.encode_result = -1;
    OnAudioInput(samples.data(), 480);
    EXPECT_EQ(journal_lines("Network_SendAudio"), Lines{});
}

TEST_F(Session, CaptureOfOneEncodedByteIsSent) {
    enter_room();
    std::vector<float> samples = block(480);
    g_fake_voice.encode_result = 1;
    OnAudioInput(samples.data(), 480);
    EXPECT_EQ(journal_lines("Network_SendAudio").size(), 1U);
}

TEST_F(Session, CaptureWithoutFramesIsIgnored) {
    enter_room();
    std::vector<float> samples = block(1);
    OnAudioInput(samples.data(), 0);
    OnAudioInput(samples.data(), -5);
    OnAudioInput(nullptr, 480);
    EXPECT_EQ(journal_lines("Network_SendAudio"), Lines{});
}

TEST_F(Session, CountsTheAudioThatWasSentAndNoOther) {
    std::vector<float> samples = block(480);
    const std::uint64_t before = audio_packets_sent();
    OnAudioInput(samples.data(), 480);
    EXPECT_EQ(audio_packets_sent() - before, 0U) << "outside a room";
    enter_room();
    OnAudioInput(samples.data(), 480);
    OnAudioInput(samples.data(), 480);
    EXPECT_EQ(audio_packets_sent() - before, 2U);
    g_fake_voice.send_audio_result = false;
    OnAudioInput(samples.data(), 480);
    EXPECT_EQ(audio_packets_sent() - before, 2U) << "when the network takes nothing";
}

TEST_F(Session, CaptureHandlerDoesNotTestTheMuteFlag) {
    enter_room();
    OnMuteToggle(true);
    std::vector<float> samples = block(480);
    OnAudioInput(samples.data(), 480);
    EXPECT_EQ(journal_lines("Network_SendAudio").size(), 1U);
}

TEST_F(Session, LevelGoesStraightToTheInterfaceFromTheCaptureThread) {
    on_worker([] { OnAudioLevel(0.25F); });
    EXPECT_EQ(journal_lines(), Lines{"GUI_UpdateAudioLevel(0.25)"});
    EXPECT_EQ(fake_main_queue_size(), 0);
}

TEST_F(Session, ReceivedAudioIsDecodedAndPlayed) {
    const std::array<std::uint8_t, 1920> data{7};
    OnNetworkAudio(data.data(), 1920);
    EXPECT_EQ(journal_lines(), (Lines{"OpusCodec_Decode(1920, 960)", "Audio_PlaySamples(480)"}));
    EXPECT_EQ(g_fake_audio.played, block(480, 7.0F));
}

TEST_F(Session, ReceivedAudioIsCutAt960Frames) {
    const std::array<std::uint8_t, 8000> data{7};
    OnNetworkAudio(data.data(), 8000);
    EXPECT_EQ(journal_lines(), (Lines{"OpusCodec_Decode(8000, 960)", "Audio_PlaySamples(960)"}));
    EXPECT_EQ(g_fake_audio.played, block(960, 7.0F));
}

TEST_F(Session, DeafenedDropsReceivedAudioBeforeItIsDecoded) {
    const std::array<std::uint8_t, 1920> data{};
    OnDeafenToggle(true);
    OnNetworkAudio(data.data(), 1920);
    EXPECT_EQ(journal_lines(), Lines{});
    OnDeafenToggle(false);
    OnNetworkAudio(data.data(), 1920);
    EXPECT_EQ(journal_lines("Audio_PlaySamples").size(), 1U);
}

TEST_F(Session, AbsentOrEmptyAudioIsIgnored) {
    const std::uint8_t data[4] = {};
    OnNetworkAudio(nullptr, 4);
    OnNetworkAudio(data, 0);
    OnNetworkAudio(data, -1);
    EXPECT_EQ(journal_lines(), Lines{});
}

TEST_F(Session, AudioThatDecodesToNoFrameIsNotPlayed) {
    const std::uint8_t data[4] = {};
    g_fake_voice.decode_result = -1;
    OnNetworkAudio(data, 4);
    g_fake_voice.decode_result = 0;
    OnNetworkAudio(data, 3);
    EXPECT_EQ(journal_lines("Audio_PlaySamples"), Lines{});
}

TEST(AllocationCounter, SeesAnAllocation) {
    const AllocationCounter allocations;
    const std::vector<int> some(100);
    EXPECT_GE(allocations.count(), 1);
}

TEST_F(Session, AudioHandlersAllocateNothing) {
    enter_room();
    g_fake_voice.encoded.reserve(960);
    g_fake_audio.played.reserve(1920);
    std::vector<float> samples = block(480);
    const std::array<std::uint8_t, 3840> data{};
    std::thread([&] {
        journal_pause();
        const AllocationCounter allocations;
        OnAudioInput(samples.data(), 480);
        OnAudioLevel(0.5F);
        OnNetworkAudio(data.data(), 3840);
        EXPECT_EQ(allocations.count(), 0);
    }).join();
    EXPECT_EQ(g_fake_voice.encoded.size(), 960U) << "nothing was encoded";
    EXPECT_EQ(g_fake_audio.played.size(), 1920U) << "nothing was played";
}

TEST_F(Session, ServersFarewellStopsAudioAtOnceAndShowsItLater) {
    enter_room();
    on_worker(OnNetworkDisconnected);
    EXPECT_EQ(journal_lines(), Lines{"Audio_Stop()"});
    EXPECT_EQ(state(), ConnectionState::disconnected);
    fake_main_queue_run();
    EXPECT_EQ(journal_lines(), (Lines{"Audio_Stop()", "GUI_UpdateConnectionState(0)",
                                      "GUI_SetStatusText(Desconectado)"}));
    EXPECT_EQ(debug_log(), "Network disconnected\n");
}

TEST_F(Session, FarewellSetsTheStateBeforeItStopsAudio) {
    enter_room();
    std::vector<ConnectionState> states;
    journal_look_at("Audio_Stop()", [&states] { states.push_back(state()); });
    OnNetworkDisconnected();
    EXPECT_EQ(states, std::vector{ConnectionState::disconnected});
}

TEST_F(Session, FarewellOnTheMainThreadIsShownDirectly) {
    enter_room();
    OnNetworkDisconnected();
    EXPECT_EQ(journal_lines(), (Lines{"Audio_Stop()", "GUI_UpdateConnectionState(0)",
                                      "GUI_SetStatusText(Desconectado)"}));
    EXPECT_EQ(fake_main_queue_size(), 0);
}

TEST_F(Session, FarewellUnderWayDoesNotOverwriteANewerConnection) {
    enter_room();
    on_worker(OnNetworkDisconnected);
    OnConnect("ana", "host");
    journal_reset();
    fake_main_queue_run();
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(state(), ConnectionState::connected);
}

TEST_F(Session, JoinMessageCompletesTheRosterAndTellsTheUser) {
    enter_room("ana");
    OnNetworkMessage(0, R"({"existingPeers":[{"id":"p1","username":"bob"}],"username":"zoe"})");
    // The first "username" of the message is the one of the first peer.
    EXPECT_EQ(journal_lines(), (Lines{"GUI_UpdatePeerList(p1=bob)", "GUI_UpdatePeerList(p1=bob)",
                                      "GUI_AddSystemMessage(Te has unido al canal)"}));
    EXPECT_EQ(debug_log(), "Network message: 0\n");
}

TEST_F(Session, PeerJoinedWithoutAListIsAppended) {
    enter_room("ana");
    AddOrUpdatePeer("p1", "bob");
    OnNetworkMessage(0, R"({"peerId":"p2","username":"zoe"})");
    EXPECT_EQ(journal_lines(), (Lines{"GUI_UpdatePeerList(p1=bob, =zoe)",
                                      "GUI_AddSystemMessage(Te has unido al canal)"}));
}

TEST_F(Session, JoinOfTheLocalUserAddsNoEntryButIsTold) {
    enter_room("ana");
    OnNetworkMessage(0, R"({"username":"ana"})");
    EXPECT_EQ(journal_lines(),
              (Lines{"GUI_UpdatePeerList()", "GUI_AddSystemMessage(Te has unido al canal)"}));
    EXPECT_EQ(g_peerCount, 0);
}

TEST_F(Session, JoinWithoutAnyFieldStillRefreshesAndTells) {
    OnNetworkMessage(0, "");
    EXPECT_EQ(journal_lines(),
              (Lines{"GUI_UpdatePeerList()", "GUI_AddSystemMessage(Te has unido al canal)"}));
}

TEST_F(Session, MessagesWithoutTextOnlyTellTheUser) {
    AddOrUpdatePeer("p1", "bob");
    OnNetworkMessage(0, nullptr);
    OnNetworkMessage(1, nullptr);
    OnNetworkMessage(6, nullptr);
    EXPECT_EQ(journal_lines(), (Lines{"GUI_AddSystemMessage(Te has unido al canal)",
                                      "GUI_AddSystemMessage(Un usuario ha salido)",
                                      "GUI_AddSystemMessage(Mensaje de chat recibido)"}));
}

TEST_F(Session, PeerLeftIsRemovedByIdOrByName) {
    enter_room("ana");
    AddOrUpdatePeer("p1", "bob");
    AddOrUpdatePeer("p2", "carol");
    OnNetworkMessage(1, R"({"peerId":"p1"})");
    OnNetworkMessage(1, R"({"username":"carol"})");
    EXPECT_EQ(journal_lines(),
              (Lines{"GUI_UpdatePeerList(p2=carol)", "GUI_AddSystemMessage(Un usuario ha salido)",
                     "GUI_UpdatePeerList()", "GUI_AddSystemMessage(Un usuario ha salido)"}));
    EXPECT_EQ(debug_log(), "Network message: 1\nNetwork message: 1\n");
}

TEST_F(Session, PeerLeftWithAListRebuildsTheRosterFirst) {
    enter_room("ana");
    OnNetworkMessage(1, R"({"peerId":"p2","existingPeers":[{"id":"p1","username":"bob"},)"
                        R"({"id":"p2","username":"carol"}]})");
    // The first "username" is bob's, but the id is looked at in the same pass, entry by entry.
    EXPECT_EQ(journal_lines("GUI_UpdatePeerList"),
              (Lines{"GUI_UpdatePeerList(p1=bob, p2=carol)", "GUI_UpdatePeerList(p2=carol)"}));
}

TEST_F(Session, PeerLeftForAnUnknownIdOnlyTellsTheUser) {
    enter_room("ana");
    AddOrUpdatePeer("p1", "bob");
    OnNetworkMessage(1, R"({"peerId":"p9"})");
    EXPECT_EQ(journal_lines(),
              (Lines{"GUI_UpdatePeerList(p1=bob)", "GUI_AddSystemMessage(Un usuario ha salido)"}));
}

TEST_F(Session, LongIdsOfAMessageAreCutAt63Bytes) {
    const std::string id(80, 'i');
    enter_room("ana");
    AddOrUpdatePeer(id.c_str(), "bob");
    OnNetworkMessage(1, (R"({"peerId":")" + id + "\"}").c_str());
    EXPECT_EQ(g_peerCount, 0);
}

TEST_F(Session, ChatMessageShowsOnlyThatOneArrived) {
    OnNetworkMessage(6, R"({"username":"bob","message":"hi"})");
    EXPECT_EQ(journal_lines(), Lines{"GUI_AddSystemMessage(Mensaje de chat recibido)"});
    EXPECT_EQ(debug_log(), "Network message: 6\n");
}

TEST_F(Session, OtherMessagesAreOnlyLogged) {
    for (const int kind : {-1, 2, 3, 4, 5, 7, 255}) {
        OnNetworkMessage(kind, R"({"username":"bob","existingPeers":[]})");
    }
    EXPECT_EQ(journal_lines(), Lines{});
    EXPECT_EQ(debug_log().substr(0, 20), "Network message: -1\n");
}

TEST_F(Session, SpeakingIsShownWithItsPeer) {
    AddOrUpdatePeer("p1", "bob");
    OnSpeakingState("p1", 5);
    OnSpeakingState("p9", 1);
    OnSpeakingState("p1", 0);
    EXPECT_EQ(journal_lines(),
              (Lines{"GUI_UpdatePeerList(p1=bob*)", "GUI_UpdatePeerList(p1=bob)"}));
    EXPECT_EQ(g_peerList[0].speaking, 0);
}

TEST_F(Session, SpeakingFlagIsStoredAsOne) {
    AddOrUpdatePeer("p1", "bob");
    OnSpeakingState("p1", 5);
    EXPECT_EQ(g_peerList[0].speaking, 1);
}

TEST_F(Session, ServerErrorIsShownWithItsOwnText) {
    on_worker([] {
        char text[] = "room is full";
        OnNetworkError(text);
        text[0] = '?'; // the transport's buffer is reused after the call
    });
    EXPECT_EQ(journal_lines(), Lines{});
    fake_main_queue_run();
    EXPECT_EQ(journal_lines(), Lines{"GUI_ShowMessage(Error de red, room is full, 3)"});
    EXPECT_EQ(debug_log(), "Network error: room is full\n");
}

TEST_F(Session, WorkerEventsReachTheInterfaceInTheirOrderOnTheMainThread) {
    enter_room("ana");
    on_worker([] {
        OnNetworkMessage(0, R"({"existingPeers":[{"id":"p1","username":"bob"}]})");
        OnSpeakingState("p1", 1);
        OnNetworkMessage(6, "{}");
        OnNetworkError("slow");
        OnNetworkMessage(1, R"({"peerId":"p1"})");
        OnNetworkDisconnected();
    });
    EXPECT_EQ(journal_lines("GUI_"), Lines{});
    fake_main_queue_run();
    EXPECT_EQ(journal_lines("GUI_"), (Lines{
                                         "GUI_UpdatePeerList(p1=bob)",
                                         "GUI_UpdatePeerList(p1=bob)",
                                         "GUI_AddSystemMessage(Te has unido al canal)",
                                         "GUI_UpdatePeerList(p1=bob*)",
                                         "GUI_AddSystemMessage(Mensaje de chat recibido)",
                                         "GUI_ShowMessage(Error de red, slow, 3)",
                                         "GUI_UpdatePeerList()",
                                         "GUI_AddSystemMessage(Un usuario ha salido)",
                                         "GUI_UpdateConnectionState(0)",
                                         "GUI_SetStatusText(Desconectado)",
                                     }));
}

TEST_F(Session, LeavingDropsRosterUpdatesThatWereStillUnderWay) {
    enter_room("ana");
    on_worker([] { OnNetworkMessage(0, R"({"username":"bob"})"); });
    OnLeaveRoom();
    fake_main_queue_run();
    EXPECT_EQ(journal_lines("GUI_"), (Lines{"GUI_UpdatePeerList()", "GUI_UpdateConnectionState(2)",
                                            "GUI_AddSystemMessage(Te has unido al canal)"}));
    EXPECT_TRUE(g_fake_gui.peers.empty());
}

// Main, capture and network thread at work together: for the thread checker, and for the promise
// that the view ends with what the roster holds.
TEST_F(Session, ThreadsAtWorkTogetherLeaveTheViewAsTheRoster) {
    constexpr int k_rounds = 300;
    enter_room("ana");
    journal_pause();
    std::thread capture([] {
        std::vector<float> samples = block(480);
        for (int i = 0; i < k_rounds; ++i) {
            OnAudioInput(samples.data(), 480);
            OnAudioLevel(0.5F);
        }
    });
    std::atomic<bool> network_done{false};
    std::thread network([&network_done] {
        const std::array<std::uint8_t, 1920> data{};
        for (int i = 0; i < k_rounds; ++i) {
            AddOrUpdatePeer(("p" + std::to_string(i % 40)).c_str(), nullptr);
            OnSpeakingState(("p" + std::to_string(i % 40)).c_str(), i % 2);
            OnNetworkAudio(data.data(), 1920);
            if (i % 50 == 0) {
                OnNetworkMessage(0, R"({"existingPeers":[{"id":"x","username":"ana"}]})");
                OnNetworkDisconnected();
            }
        }
        network_done = true;
    });
    while (!network_done) {
        OnJoinRoom("r1");
        OnDeafenToggle(false);
        OnMuteToggle(true);
        fake_main_queue_run();
        OnLeaveRoom();
        OnConnect("ana", "host");
        fake_main_queue_run();
    }
    network.join();
    capture.join();
    fake_main_queue_run();

    const std::size_t shown = g_fake_gui.peers.size();
    ASSERT_EQ(shown, static_cast<std::size_t>(g_peerCount));
    for (std::size_t i = 0; i < shown; ++i) {
        EXPECT_STREQ(g_fake_gui.peers[i].id, g_peerList[i].id);
    }
}

} // namespace
