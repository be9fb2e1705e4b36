// What the fake audio seam's two files share: the one machine, what it was told and what it saw,
// and the handles. Included by nobody else.
#pragma once

#include "support/fake_audio_endpoint.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace fake_audio {

struct Stream {
    std::string id;
    AudioFlow flow = AudioFlow::capture;
    bool initialized = false;
    bool started = false;
    std::uint32_t told_padding = 0; // by this the program reckons what is free
};

} // namespace fake_audio

// The handles. Those of a stream share it, as they may be freed in any order.

struct AudioEnumerator {};

struct AudioDevice {
    std::string id;
    AudioFlow flow;
};

struct AudioClient {
    std::shared_ptr<fake_audio::Stream> stream;
};

struct AudioCaptureService {
    std::shared_ptr<fake_audio::Stream> stream;
    std::vector<float> packet{};
    bool taken = false;
    bool tone_given = false; // one packet of a tone per look
};

struct AudioRenderService {
    std::shared_ptr<fake_audio::Stream> stream;
    std::vector<float> buffer{};
    bool taken = false;
};

namespace fake_audio {

constexpr std::size_t k_calls = static_cast<std::size_t>(Call::count_);

struct Endpoint {
    AudioFlow flow;
    std::string id;
    std::string name;
    std::deque<std::vector<float>> packets{};
    std::vector<float> tone{};
    std::uint32_t buffer_frames = k_default_buffer_frames;
    std::uint32_t padding = k_default_padding;
    std::uint32_t latency_us = 0;
    std::vector<float> rendered{};
};

struct Script {
    std::optional<AudioResult> code[2]; // by direction
    int to_hang = 0;
    int hanging = 0;
    int made = 0;
    std::set<std::thread::id> threads{};
};

/// One machine for the whole process.
struct Machine {
    std::mutex mutex{};
    std::condition_variable changed{};
    std::vector<Endpoint> endpoints{};
    std::string defaults[2];
    std::array<Script, k_calls> scripts{};
    std::set<const void*> live{};
    std::vector<std::string> calls{};
    std::vector<std::string> violations{};
    int acquired = 0;
    int system_users = 0;
};

Machine& machine();

using Lock = std::unique_lock<std::mutex>;

// Everything below is called with the machine's mutex held.

Script& script(Call call);

/// The direction as an index.
std::size_t side(AudioFlow flow);

/// The active endpoint, null when there is none.
Endpoint* find(const std::string& id);

/// Records a breach of the seam's rules.
void complain(std::string text);

/// Counts the call, blocks when told to (then without the mutex), and says what it must return.
AudioResult enter(Lock& lock, Call call, AudioFlow flow = AudioFlow::capture);

} // namespace fake_audio
