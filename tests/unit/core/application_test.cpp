// The program from entry to exit, with neighbours that can fail.
#include "core/application.h"
#include "unit/core/core_fixture.h"

namespace {

struct Outcome {
    int status;
    std::string output;
    std::string errors;
    std::string startup_log;
};

class Application : public CoreTest {
  protected:
    static Outcome run() {
        static char name[] = "velmo";
        static char option[] = "--option";
        static char* arguments[] = {name, option, nullptr};
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = run_application(2, arguments);
        Outcome result;
        result.status = status;
        result.output = testing::internal::GetCapturedStdout();
        result.errors = testing::internal::GetCapturedStderr();
        result.startup_log = read_text_file("velmotalk_gtk_debug.log");
        return result;
    }
};

const std::string k_banner =
    R"(========================================\nVelmo - Starting (GTK4)\n)"
    R"(========================================\n)";
const std::string k_log_head = "Velmo - Starting (GTK4)\nState initialized\\n";

const Lines k_inits = {"Network_Init()", "Audio_Init()", "AudioProcessing_Init(48000, 2)",
                       "OpusCodec_Init(48000, 2, 128000)"};

TEST_F(Application, RunsEverySubsystemInOrderAndReturnsTheInterfacesStatus) {
    g_fake_gui.exit_status = 7;
    EXPECT_EQ(run().status, 7);
    EXPECT_EQ(journal_lines(), (Lines{
                                   "Network_Init()",
                                   "Audio_Init()",
                                   "AudioProcessing_Init(48000, 2)",
                                   "OpusCodec_Init(48000, 2, 128000)",
                                   "Audio_SetInputCallback()",
                                   "Audio_SetLevelCallback()",
                                   "Network_SetConnectedCallback()",
                                   "Network_SetDisconnectedCallback()",
                                   "Network_SetMessageCallback()",
                                   "Network_SetAudioCallback()",
                                   "Network_SetSpeakingCallback()",
                                   "Network_SetErrorCallback()",
                                   "GUI_SetConnectCallback()",
                                   "GUI_SetJoinRoomCallback()",
                                   "GUI_SetLeaveRoomCallback()",
                                   "GUI_SetMuteCallback()",
                                   "GUI_SetDeafenCallback()",
                                   "GUI_SetLoopbackCallback()",
                                   "GUI_SetGainCallback()",
                                   "GUI_SetVolumeCallback()",
                                   "GUI_SetChatSendCallback()",
                                   "GUI_Init()",
                                   "GUI_Cleanup()",
                                   "OpusCodec_Cleanup()",
                                   "AudioProcessing_Cleanup()",
                                   "Audio_Cleanup()",
                                   "Network_Cleanup()",
                               }));
}

TEST_F(Application, StateHasItsDefaultsBeforeAnythingStarts) {
    // Compared afterwards, for while the program runs its output is caught.
    int looks = 0;
    ConnectionState state{};
    float gain = 0.0F;
    float volume = 0.0F;
    std::int32_t bitrate = 0;
    std::string texts;
    bool any_flag = true;
    journal_look_at("Network_Init()", [&] {
        ++looks;
        state = g_appState.connectionState;
        gain = g_appState.inputGain;
        volume = g_appState.outputVolume;
        bitrate = g_appState.bitrate;
        texts =
            std::string(g_appState.username) + "|" + g_appState.serverUrl + "|" + g_appState.roomId;
        any_flag = g_appState.muted || g_appState.deafened || g_appState.loopback;
    });
    run();
    EXPECT_EQ(looks, 1);
    EXPECT_EQ(journal_lines().front(), "Network_Init()");
    EXPECT_EQ(state, ConnectionState::disconnected);
    EXPECT_EQ(gain, 1.0F);
    EXPECT_EQ(volume, 1.0F);
    EXPECT_EQ(bitrate, 128000);
    EXPECT_EQ(texts, "|ws://127.0.0.1:3602/ws|");
    EXPECT_FALSE(any_flag);
}

TEST_F(Application, HandsItsArgumentsToTheInterface) {
    run();
    ASSERT_EQ(g_fake_gui.argc, 2);
    EXPECT_STREQ(g_fake_gui.argv[1], "--option");
}

TEST_F(Application, WritesMarkersAndBannersWithLiteralBackslashN) {
    g_fake_gui.exit_status = 3;
    const Outcome result = run();
    EXPECT_EQ(result.startup_log,
              k_log_head +
                  R"(Network_Init OK\nAudio_Init OK\nAudioProcessing_Init OK\nOpusCodec_Init OK\n)"
                  R"(Callbacks configured, starting GUI...\nGUI_Init returned: 3\n)"
                  R"(Cleanup done, exiting\n)");
    EXPECT_EQ(result.output, k_banner + R"(Velmo - Exiting\n)");
    EXPECT_EQ(result.errors, "");
}

std::string g_log_while_running;

TEST_F(Application, MarkersAreOnDiskBeforeTheInterfaceRuns) {
    g_fake_gui.main_loop = [] { g_log_while_running = read_text_file("velmotalk_gtk_debug.log"); };
    run();
    EXPECT_TRUE(g_log_while_running.ends_with("Callbacks configured, starting GUI...\\n"))
        << g_log_while_running;
}

AppState* g_state_at_start = nullptr;

TEST_F(Application, SetsOnlyTheFourDefaultsThatAreNotZero) {
    g_fake_gui.main_loop = [] { g_state_at_start = &g_appState; };
    run();
    ASSERT_EQ(g_state_at_start, &g_appState);
    EXPECT_EQ(g_appState.inputGain, 1.0F);
    EXPECT_EQ(g_appState.outputVolume, 1.0F);
    EXPECT_EQ(g_appState.bitrate, 128000);
    EXPECT_STREQ(g_appState.serverUrl, "ws://127.0.0.1:3602/ws");
    EXPECT_STREQ(g_appState.username, "");
    EXPECT_STREQ(g_appState.roomId, "");
    EXPECT_EQ(g_appState.connectionState, ConnectionState::disconnected);
    EXPECT_FALSE(g_appState.muted);
    EXPECT_FALSE(g_appState.deafened);
    EXPECT_FALSE(g_appState.loopback);
}

TEST_F(Application, WiresTheHandlersToTheirNeighbours) {
    run();
    journal_reset();
    g_fake_gui.on_connect("ana", "host");
    g_fake_gui.on_join_room("r1");
    g_fake_audio.level_callback(0.5F);
    float samples[4] = {};
    g_fake_audio.input_callback(samples, 2);
    g_fake_gui.on_chat_send("hi");
    g_fake_gui.on_mute(true);
    g_fake_gui.on_deafen(false);
    g_fake_gui.on_loopback(true);
    g_fake_gui.on_gain(0.5F);
    g_fake_gui.on_volume(2.0F);
    g_fake_voice.on_message(6, "{}");
    const std::uint8_t audio[4] = {1, 2, 3, 4};
    g_fake_voice.on_audio(audio, 4);
    g_fake_voice.on_speaking("p1", 1);
    g_fake_voice.on_error("full");
    g_fake_gui.on_leave_room();
    g_fake_voice.on_disconnected();
    EXPECT_EQ(journal_lines(),
              (Lines{
                  "Network_Connect(host)",
                  "GUI_SetStatusText(Conectado al servidor)",
                  "GUI_UpdateConnectionState(2)",
                  R"(Network_SendMessage(0, {"roomId":"r1","username":"ana"}))",
                  "Audio_Start()",
                  "GUI_UpdateConnectionState(3)",
                  "GUI_UpdateAudioLevel(0.5)",
                  "AudioProcessing_Process(4)",
                  "OpusCodec_Encode(2, 65536)",
                  "Network_SendAudio(8: 5a)",
                  R"(Network_SendMessage(6, {"room":"r1","username":"ana","message":"hi"}))",
                  "Audio_SetMuted(1)",
                  "Audio_SetLoopback(1)",
                  "Audio_SetInputGain(0.5)",
                  "Audio_SetOutputVolume(2)",
                  "GUI_AddSystemMessage(Mensaje de chat recibido)",
                  "OpusCodec_Decode(4, 960)",
                  "Audio_PlaySamples(1)",
                  "GUI_ShowMessage(Error de red, full, 3)",
                  "Network_SendMessage(1, {})",
                  "GUI_UpdatePeerList()",
                  "GUI_UpdateConnectionState(2)",
                  "Audio_Stop()",
                  "GUI_UpdateConnectionState(0)",
                  "GUI_SetStatusText(Desconectado)",
              }));
}

// A failed start ends with 1, says so, unwinds what was started, and shows no interface.
struct FailureCase {
    void (*arrange)();
    std::size_t inits;
    Lines cleanups;
    std::string errors;
    std::string markers;
};

class ApplicationFailure : public Application, public testing::WithParamInterface<FailureCase> {};

TEST_P(ApplicationFailure, UnwindsExactlyWhatWasInitialised) {
    const FailureCase& expected = GetParam();
    expected.arrange();
    const Outcome result = run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, expected.errors);
    EXPECT_EQ(result.output, k_banner);
    EXPECT_EQ(result.startup_log, k_log_head + expected.markers);
    Lines calls(k_inits.begin(), k_inits.begin() + static_cast<std::ptrdiff_t>(expected.inits));
    calls.insert(calls.end(), expected.cleanups.begin(), expected.cleanups.end());
    EXPECT_EQ(journal_lines(), calls);
}

const FailureCase k_failures[] = {
    {[] { g_fake_voice.init_result = false; },
     1,
     {},
     R"(Error al inicializar la red\n)",
     R"(Network_Init failed\n)"},
    {[] { g_fake_audio.init_result = 0; },
     2,
     {"Network_Cleanup()"},
     R"(Error al inicializar el audio\n)",
     R"(Network_Init OK\nAudio_Init failed\n)"},
    {[] { g_fake_audio.processing_init_result = 0; },
     3,
     {"Audio_Cleanup()", "Network_Cleanup()"},
     R"(Error al inicializar el procesador de audio\n)",
     R"(Network_Init OK\nAudio_Init OK\nAudioProcessing_Init failed\n)"},
    {[] { g_fake_voice.codec_init_result = false; },
     4,
     {"AudioProcessing_Cleanup()", "Audio_Cleanup()", "Network_Cleanup()"},
     R"(Error al inicializar el codec Opus\n)",
     R"(Network_Init OK\nAudio_Init OK\nAudioProcessing_Init OK\nOpusCodec_Init failed\n)"},
};

std::string failing_subsystem(const testing::TestParamInfo<FailureCase>& tested) {
    constexpr const char* k_names[] = {"Network", "Audio", "Processing", "Codec"};
    return k_names[tested.param.inits - 1];
}

INSTANTIATE_TEST_SUITE_P(Subsystems, ApplicationFailure, testing::ValuesIn(k_failures),
                         failing_subsystem);

TEST_F(Application, SecondRunOverwritesTheStartupLogAndAppendsToTheDebugLog) {
    g_fake_gui.main_loop = [] { g_fake_gui.on_mute(true); };
    g_fake_gui.exit_status = 1;
    const std::string first = run().startup_log;
    g_fake_gui.exit_status = 2;
    const std::string second = run().startup_log;
    EXPECT_EQ(second.size(), first.size());
    EXPECT_NE(second.find("GUI_Init returned: 2"), std::string::npos);
    EXPECT_EQ(second.find("GUI_Init returned: 1"), std::string::npos);
    EXPECT_EQ(debug_log(), "Mute: ON\nMute: ON\n");
}

TEST_F(Application, StartupLogThatCannotBeOpenedDisablesOnlyTheMarkers) {
    std::filesystem::create_directory("velmotalk_gtk_debug.log");
    g_fake_gui.exit_status = 5;
    const Outcome result = run();
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.output, k_banner + R"(Velmo - Exiting\n)");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(journal_lines().back(), "Network_Cleanup()");
}

TEST_F(Application, FailsAsUsualWithoutAStartupLog) {
    std::filesystem::create_directory("velmotalk_gtk_debug.log");
    g_fake_audio.init_result = 0;
    const Outcome result = run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, R"(Error al inicializar el audio\n)");
    EXPECT_EQ(journal_lines().back(), "Network_Cleanup()");
}

} // namespace
