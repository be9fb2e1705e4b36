// Runs velmo-peer's whole stay in a room: in this process, with a scripted server behind real
// sockets and sound cards in memory.
#pragma once

#include "base/main_thread.h"
#include "core/app_state.h"
#include "core/peer_roster.h"
#include "core/voice_session.h"
#include "peer/peer_exit.h"
#include "peer/peer_loop.h"
#include "peer/peer_output.h"
#include "peer/peer_program.h"
#include "peer/peer_session.h"
#include "peer/wav_file.h"
#include "platform/console.h"
#include "support/fake_audio_endpoint.h"
#include "unit/voice/scripted_server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <functional>
#include <mutex>
#include <sstream>
#include <thread>

using namespace std::chrono_literals;
using Type = VoicePacketType;

/// What a session has said so far, on both streams.
inline std::mutex g_said_mutex;
inline std::string g_said;

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

class PeerSession : public testing::Test {
  protected:
    PeerSession() {
        fake_audio::reset();
        fake_audio::add_endpoint(AudioFlow::capture, "mic", "Microphone");
        fake_audio::add_endpoint(AudioFlow::render, "speaker", "Speaker");
        OnMuteToggle(false);
        OnDeafenToggle(false);
        g_peerCount = 0;
        m_server.confirm_joins = true;
    }

    PeerOptions options() const {
        PeerOptions options;
        options.server = m_server.url().substr(6); // without "udp://"
        options.room = "r1";
        options.name = "ana";
        return options;
    }

    PeerOptions tone_options() const {
        PeerOptions with_tone = options();
        with_tone.tone_hz = 1000.0;
        return with_tone;
    }

    /// Runs a session on this thread, and beside it `script`, which must bring it to its end. All
    /// that the session sent has been received when this returns.
    Outcome run(const PeerOptions& options, const std::function<void()>& script) {
        peer_loop_install();
        peer_loop_catch_signals();
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        g_said.clear();
        peer_output_set_listener([](std::string_view line) {
            const std::lock_guard lock(g_said_mutex);
            g_said += line;
        });
        std::thread script_thread(script);
        Outcome outcome;
        outcome.status = run_peer_session(options);
        script_thread.join();
        m_server.catch_up();
        peer_output_set_listener(nullptr);
        outcome.output = testing::internal::GetCapturedStdout();
        outcome.errors = testing::internal::GetCapturedStderr();
        peer_loop_uninstall();
        return outcome;
    }

    static void command(const std::string& line) {
        run_on_main_thread([line] { run_peer_command_line(line); });
    }

    /// Waits for something that another thread brings about; for a long time before giving up.
    static void await(const char* what, const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "waited in vain for " << what;
                return;
            }
            std::this_thread::sleep_for(1ms);
        }
    }

    static void await_said(const std::string& part, std::size_t times = 1) {
        await("words", [&] {
            const std::lock_guard lock(g_said_mutex);
            std::size_t found = 0;
            for (std::size_t at = g_said.find(part); at != std::string::npos;
                 at = g_said.find(part, at + part.size())) {
                ++found;
            }
            return found >= times;
        });
    }

    /// Waits until it is told for the `times`-th time that the room was entered. That the server
    /// has received the wish says less: the answer may come at any time after.
    static void await_inside(std::size_t times = 1) { await_said("state: in room\n", times); }

    void await_packets(Type type, std::size_t count) {
        await("packets", [&] { return m_server.count(type) >= count; });
    }

    /// Waits until the recording, still under way, holds so many frames.
    static void await_recording(const char* path, std::size_t frames) {
        await("the recording", [&] {
            WavSound sound;
            std::string error;
            return wav_read_file(path, sound, error) && sound.frame_count() >= frames;
        });
    }

    std::vector<ScriptedServer::Received> packets(Type type) const {
        std::vector<ScriptedServer::Received> chosen;
        for (const auto& packet : m_server.received()) {
            if (packet.type == type) {
                chosen.push_back(packet);
            }
        }
        return chosen;
    }

    static std::string text_of(const ScriptedServer::Received& packet) {
        return {packet.payload.begin(), packet.payload.end()};
    }

    /// `output` without the lines about its own voice, which come whenever the sound card's thread
    /// brings them about: between any two others.
    static std::string without_voice(const std::string& output) {
        std::istringstream lines(output);
        std::string kept;
        for (std::string line; std::getline(lines, line);) {
            if (line != "speaking" && line != "silent") {
                kept += line + '\n';
            }
        }
        return kept;
    }

    static bool contains(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }

    ScriptedServer m_server;
};

inline void write_wav(const char* path, std::uint32_t rate, std::size_t frames,
                      std::int16_t value) {
    WavWriter writer;
    ASSERT_TRUE(writer.open(path, rate, 1));
    std::vector<std::int16_t> samples(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        samples[i] = i / 24 % 2 == 0 ? value : static_cast<std::int16_t>(-value);
    }
    EXPECT_TRUE(writer.write(samples));
    EXPECT_TRUE(writer.close());
}
