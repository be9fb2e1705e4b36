// What every test of the core starts from: silent neighbours, an empty roster and state, this
// thread as the main thread, no log files in the working folder.
#pragma once

#include "core/app_state.h"
#include "core/peer_roster.h"
#include "unit/core/fake_audio.h"
#include "unit/core/fake_desktop.h"
#include "unit/core/fake_gui.h"
#include "unit/core/fake_journal.h"
#include "unit/core/fake_main_queue.h"
#include "unit/core/fake_voice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

using Lines = std::vector<std::string>;

class CoreTest : public testing::Test {
  protected:
    CoreTest() {
        for (const char* file :
             {"velmotalk_debug.log", "velmotalk_gtk_debug.log", "hub_click_debug.log"}) {
            std::filesystem::remove_all(file);
        }
        g_fake_audio = {};
        g_fake_voice = {};
        g_fake_gui = {};
        fake_main_queue_install();
        fake_debug_output_reset();

        std::fill(std::begin(g_peerList), std::end(g_peerList), Peer{});
        g_peerCount = 0;
        app_state_set_username("");
        g_appState.serverUrl[0] = '\0';
        g_appState.roomId[0] = '\0';
        g_appState.connectionState = ConnectionState::disconnected;
        g_appState.muted = false;
        g_appState.deafened = false;
        g_appState.loopback = false;
        g_appState.inputGain = 0.0F;
        g_appState.outputVolume = 0.0F;
        g_appState.bitrate = 0;
        journal_reset();
    }

    /// Runs `body` on a thread that is not the main thread, to its end.
    template <typename Body>
    static void on_worker(Body body) {
        std::thread(body).join();
    }

    /// The file's content with line breaks as '\n'; "(none)" when it does not exist.
    static std::string read_text_file(const char* name) {
        std::FILE* file = std::fopen(name, "r");
        if (file == nullptr) {
            return "(none)";
        }
        std::string text;
        for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
            text += static_cast<char>(c);
        }
        std::fclose(file);
        return text;
    }

    static std::string debug_log() { return read_text_file("velmotalk_debug.log"); }
};
