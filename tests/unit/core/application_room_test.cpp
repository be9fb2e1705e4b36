// The program ended while it talks in a room: real core, audio and voice over a scripted sound card
// and a server on loopback. Only the interface is a fake.
#include "core/application.h"

#include "support/fake_audio_endpoint.h"
#include "unit/core/fake_gui.h"
#include "unit/core/fake_journal.h"
#include "unit/core/fake_main_queue.h"
#include "unit/voice/scripted_server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

ScriptedServer* g_server = nullptr;

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

void enter_and_talk() {
    fake_main_queue_install();
    g_fake_gui.on_connect("ana", g_server->url().c_str());
    g_fake_gui.on_join_room("lobby");
    const bool is_talking = loop_until([] {
        return g_server->count(VoicePacketType::audio) >= 10 &&
               fake_audio::count(fake_audio::Call::render_release_buffer) >= 10;
    });
    EXPECT_TRUE(is_talking);
    journal_reset();
}

std::size_t position(const std::vector<std::string>& lines, const std::string& line) {
    return static_cast<std::size_t>(std::find(lines.begin(), lines.end(), line) - lines.begin());
}

TEST(ApplicationRoom, TheWindowMayBeClosedWhileTalking) {
    fake_audio::reset();
    fake_audio::add_endpoint(AudioFlow::capture, "mic", "Microphone");
    fake_audio::add_endpoint(AudioFlow::render, "spk", "Speaker");
    fake_audio::set_tone("mic", 0.3F, 480);
    ScriptedServer server;
    g_server = &server;
    g_fake_gui.main_loop = enter_and_talk;

    static char name[] = "velmo";
    static char* arguments[] = {name, nullptr};
    EXPECT_EQ(run_application(1, arguments), 0);

    const std::vector<std::string> lines = journal_lines();
    const std::size_t cleaned_up = position(lines, "GUI_Cleanup()");
    ASSERT_LT(cleaned_up, lines.size());
    EXPECT_GT(position(lines, "GUI_UpdateConnectionState(0)"), cleaned_up)
        << "the farewell comes with the network's end, for whoever still shows anything";
    EXPECT_TRUE(loop_until([] { return g_server->count(VoicePacketType::disconnect) == 1; }))
        << "and the server hears of it";
    EXPECT_EQ(server.received().back().type, VoicePacketType::disconnect) << "as the last word";
}

} // namespace
