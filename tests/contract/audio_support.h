// What the audio contract tests share: the virtual cards' endpoints, open streams, a tone to play
// and how to find it in what was captured, and power over the sound server.
#pragma once

#include "platform/audio_endpoint.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <thread>
#include <vector>

/// The virtual cards that scripts/with-sound made for this run.
std::int32_t sound_cards();

/// Whether the lists hold the virtual cards and nothing else. Not so under Wine, which adds an
/// endpoint of its own per direction ("PulseAudio", the default) and the sinks' monitors.
bool lists_hold_cards_only();

/// Runs a shell command on the machine that the sound server runs on and waits for its end. False
/// when it failed. It must do without double quotes and backslashes.
bool run_on_host(const std::string& command);

/// Runs scripts/with-sound inside the running fixture: --stop, --start, --pause or --resume.
bool control_sound_server(const std::string& verb);

/// Asks every other millisecond until `condition` holds; false after `limit`.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds limit = std::chrono::seconds(10));

/// Audio set up for the test's thread, and an enumerator.
class AudioContract : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    AudioPtr<AudioEnumerator> m_enumerator;
};

std::int32_t count_endpoints(AudioEnumerator& enumerator, AudioFlow flow);
std::string id_of(AudioDevice& device);
std::string name_of(AudioDevice& device);

/// The endpoint with exactly this friendly name; null without one.
AudioPtr<AudioDevice> find_endpoint(AudioEnumerator& enumerator, AudioFlow flow,
                                    const std::string& name);

/// An initialised client with its service. Empty, with test failures, when any step fails.
struct Microphone {
    AudioPtr<AudioClient> client;
    AudioPtr<AudioCaptureService> service;
    std::uint32_t buffer_frames = 0;
};
struct Speaker {
    AudioPtr<AudioClient> client;
    AudioPtr<AudioRenderService> service;
    std::uint32_t buffer_frames = 0;
};
/// Adds the service to an initialised client.
void take_capture_service(Microphone& microphone);

Microphone open_microphone(AudioEnumerator& enumerator, const std::string& name);
Speaker open_speaker(AudioEnumerator& enumerator, const std::string& name);

/// Plays a sine per channel from its making to its end, on a thread of its own.
class TonePlayer {
  public:
    TonePlayer(Speaker& speaker, double left_hz, double right_hz, float amplitude);
    TonePlayer(const TonePlayer&) = delete;
    TonePlayer& operator=(const TonePlayer&) = delete;
    ~TonePlayer();

  private:
    void run(double left_hz, double right_hz, float amplitude);

    Speaker& m_speaker;
    std::atomic<bool> m_is_ended{false};
    std::thread m_thread;
};

/// Appends every packet that is waiting to `samples` (interleaved stereo). Returns the first
/// failure, else success. Checks that packets come as announced and none is longer than the buffer.
AudioResult drain_microphone(Microphone& microphone, std::vector<float>& samples);

/// The amplitude of a sine of `hz` in one channel (0 or 1) of interleaved stereo at `rate`.
double sine_amplitude(std::span<const float> stereo, std::size_t channel, double hz,
                      double rate = 48000.0);

/// The level (root mean square) of one channel of interleaved stereo.
double channel_level(std::span<const float> stereo, std::size_t channel);

/// Listens until 100 ms hold nothing but the two sines, each with this amplitude, up to 3 %; gives
/// up after 20 s. A machine under load drops out now and then, hence not the first 100 ms.
testing::AssertionResult hears_tone(Microphone& microphone, double left_hz, double right_hz,
                                    double amplitude, double rate = 48000.0);
