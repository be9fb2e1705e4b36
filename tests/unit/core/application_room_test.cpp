// The whole program in a room: real core, audio and voice over a scripted sound card and a server
// on loopback. Only the interface is a fake.
#include "core/application.h"

#include "audio/audio_engine.h"
#include "core/voice_session.h"
#include "support/fake_audio_endpoint.h"
#include "unit/core/fake_gui.h"
#include "unit/core/fake_journal.h"
#include "unit/core/fake_main_queue.h"
#include "unit/voice/scripted_server.h"
#include "voice/voice_connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

std::optional<ScriptedServer> g_server;

/// What the interface's main loop would do until `condition` holds; false after ten seconds.
bool loop_until(const std::function<bool()>& condition) {
    for (int i = 0; i < 1000; ++i) {
        fake_main_queue_run();
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::size_t position(const std::vector<std::string>& lines, const std::string& line) {
    return static_cast<std::size_t>(std::find(lines.begin(), lines.end(), line) - lines.begin());
}

bool is_told_of_the_end() {
    const std::vector<std::string> lines = journal_lines();
    return position(lines, "GUI_SetStatusText(Desconectado)") < lines.size();
}

// Whether the server hears the microphone, and the loudspeaker plays what the server sends: samples
// with `level` in both of their bytes.
bool talks_and_hears(char level) {
    const std::size_t sent = g_server->count(VoicePacketType::audio);
    const std::string voice(4 + 1920, level);
    const float heard = static_cast<float>(level * 257) / 32767.0F;
    return loop_until([=] {
        g_server->send(VoicePacketType::audio, voice);
        const std::vector<float> rendered = fake_audio::rendered("spk");
        return g_server->count(VoicePacketType::audio) >= sent + 10 &&
               std::find(rendered.begin(), rendered.end(), heard) != rendered.end();
    });
}

// Of the latest datagram that the server got; 0 without any.
std::uint64_t latest_session() {
    const std::vector<ScriptedServer::Received> received = g_server->received();
    return received.empty() ? 0 : received.back().session;
}

void enter_and_talk(char level) {
    fake_main_queue_install();
    g_fake_gui.on_connect("ana", g_server->url().c_str());
    g_fake_gui.on_join_room("lobby");
    EXPECT_TRUE(talks_and_hears(level));
    journal_reset();
}

void enter_once() {
    enter_and_talk(0x20);
}

// The server ends the session and takes the next: what a person does who is told "Desconectado".
void enter_again() {
    enter_and_talk(0x20);
    g_server->send(VoicePacketType::disconnect, "");
    EXPECT_TRUE(loop_until(is_told_of_the_end));
    EXPECT_EQ(Audio_IsRunning(), 0);
    Network_Disconnect();

    g_server->session = 0x2000;
    enter_and_talk(0x40);
    EXPECT_EQ(latest_session(), 0x2000U);
}

// The server dies without a word, and the program talks on into the void. Returns its port.
std::uint16_t lose_the_server() {
    const std::uint16_t port = g_server->port();
    g_server.reset();
    const std::uint64_t sent = audio_packets_sent();
    EXPECT_TRUE(loop_until([sent] { return audio_packets_sent() >= sent + 10; }));
    EXPECT_TRUE(Network_IsConnected());
    EXPECT_FALSE(is_told_of_the_end());
    return port;
}

void start_the_next_server(std::uint16_t port) {
    g_server.emplace(port);
    g_server->echo_audio = false;
    g_server->session = 0x2000;
}

// The person gives up on a server that is silent and enters again once another is there.
void leave_a_dead_server_and_enter_the_next() {
    enter_and_talk(0x20);
    const std::uint16_t port = lose_the_server();
    Network_Disconnect();
    EXPECT_TRUE(is_told_of_the_end());
    EXPECT_EQ(Audio_IsRunning(), 0);

    start_the_next_server(port);
    enter_and_talk(0x40);
    const std::vector<ScriptedServer::Received> received = g_server->received();
    ASSERT_FALSE(received.empty());
    EXPECT_EQ(received.front().type, VoicePacketType::connect);
    EXPECT_EQ(received.front().session, 0U);
    EXPECT_EQ(received.front().sequence, 0U);
    EXPECT_EQ(latest_session(), 0x2000U);
}

// The next server hears somebody of whom it knows nothing, and says so.
void be_refused_by_the_next_server_and_enter_it() {
    enter_and_talk(0x20);
    start_the_next_server(lose_the_server());
    EXPECT_TRUE(loop_until([] { return g_server->count(VoicePacketType::audio) > 0; }));
    EXPECT_EQ(latest_session(), 0x1000U);
    g_server->send(VoicePacketType::disconnect, "");
    EXPECT_TRUE(loop_until(is_told_of_the_end));
    EXPECT_EQ(Audio_IsRunning(), 0);
    Network_Disconnect();

    enter_and_talk(0x40);
    EXPECT_EQ(latest_session(), 0x2000U);
}

class ApplicationRoom : public testing::Test {
  protected:
    ApplicationRoom() {
        fake_audio::reset();
        fake_audio::add_endpoint(AudioFlow::capture, "mic", "Microphone");
        fake_audio::add_endpoint(AudioFlow::render, "spk", "Speaker");
        fake_audio::set_tone("mic", 0.3F, 480);
        g_server.emplace();
        g_server->echo_audio = false;
    }
    ~ApplicationRoom() override { g_server.reset(); }

    static int run(void (*main_loop)()) {
        static char name[] = "velmo";
        static char* arguments[] = {name, nullptr};
        g_fake_gui.main_loop = main_loop;
        return run_application(1, arguments);
    }
};

TEST_F(ApplicationRoom, TheWindowMayBeClosedWhileTalking) {
    EXPECT_EQ(run(enter_once), 0);

    const std::vector<std::string> lines = journal_lines();
    const std::size_t cleaned_up = position(lines, "GUI_Cleanup()");
    ASSERT_LT(cleaned_up, lines.size());
    EXPECT_GT(position(lines, "GUI_UpdateConnectionState(0)"), cleaned_up)
        << "the farewell comes with the network's end, for whoever still shows anything";
    EXPECT_TRUE(loop_until([] { return g_server->count(VoicePacketType::disconnect) == 1; }))
        << "and the server hears of it";
    g_server->catch_up();
    EXPECT_EQ(g_server->received().back().type, VoicePacketType::disconnect) << "as the last word";
}

TEST_F(ApplicationRoom, AfterTheServersEndTheNextSessionTalksAndHears) {
    EXPECT_EQ(run(enter_again), 0);
}

TEST_F(ApplicationRoom, AfterAServersSilentDeathThePersonEntersTheNextOneAtItsAddress) {
    EXPECT_EQ(run(leave_a_dead_server_and_enter_the_next), 0);
}

TEST_F(ApplicationRoom, TheNextServerAtTheAddressOfADeadOneMayRefuseTheOldSession) {
    EXPECT_EQ(run(be_refused_by_the_next_server_and_enter_it), 0);
}

} // namespace
