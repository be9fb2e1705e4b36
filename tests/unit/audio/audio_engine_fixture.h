// What the device engine's tests share: a machine with two microphones and two loudspeakers, a
// silent ring, the debug log's lines, and the check that every handle was freed.
#pragma once

#include "audio/audio_devices.h"
#include "audio/audio_engine_internal.h"
#include "support/fake_audio_endpoint.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace engine_test {

using Lines = std::vector<std::string>;
using Samples = std::vector<float>;

/// What has been written to the debug log since the test began.
inline Lines log_lines() {
    std::ifstream file("velmotalk_debug.log");
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

inline void clear_log() {
    std::remove("velmotalk_debug.log");
}

/// `frames` stereo frames, every sample `value`.
inline Samples tone(float value, std::size_t frames) {
    return Samples(frames * 2, value);
}

inline float ring_at(std::size_t index) {
    return audio_engine::g_loopbackBuffer.at(index).load();
}

/// Copies of what the callbacks received. On one thread only.
struct Heard {
    struct Packet {
        Samples samples;
        std::int32_t frames;
    };
    std::vector<Packet> packets;
    std::vector<float> levels;
    std::vector<std::string> order;
};

inline Heard g_heard;

inline void hear_input(float* samples, std::int32_t frames) {
    g_heard.packets.push_back({Samples(samples, samples + frames * 2), frames});
    g_heard.order.emplace_back("input");
}

inline void hear_level(float level) {
    g_heard.levels.push_back(level);
    g_heard.order.emplace_back("level");
}

class AudioEngine : public ::testing::Test {
  protected:
    void SetUp() override {
        fake_audio::reset();
        fake_audio::add_endpoint(AudioFlow::capture, "mic", "Microphone");
        fake_audio::add_endpoint(AudioFlow::render, "speaker", "Loudspeaker");
        fake_audio::add_endpoint(AudioFlow::capture, "mic2", "Second microphone");
        fake_audio::add_endpoint(AudioFlow::render, "speaker2", "Second loudspeaker");
        for (auto& slot : audio_engine::g_loopbackBuffer) {
            slot = 0.0F;
        }
        audio_engine::g_loopbackWritePos = 0;
        audio_engine::g_loopbackReadPos = 0;
        Audio_SetInputGain(1.0F);
        Audio_SetOutputVolume(1.0F);
        Audio_SetMuted(false);
        Audio_SetLoopback(false);
        g_heard = {};
        clear_log();
    }

    void TearDown() override {
        Audio_Cleanup();
        Audio_SetInputCallback(nullptr);
        Audio_SetLevelCallback(nullptr);
        EXPECT_EQ(fake_audio::live_handles(), 0);
        EXPECT_EQ(fake_audio::violations(), Lines{});
    }

    /// Brings audio up to the point where it runs, and forgets the log lines of the way.
    void start() {
        ASSERT_EQ(Audio_Init(), 1);
        ASSERT_EQ(Audio_Start(), 1);
        clear_log();
    }
};

} // namespace engine_test
