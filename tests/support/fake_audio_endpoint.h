// The audio seam in memory: endpoints, failures and packets are scripted, what the program did is
// recorded. Called by the tests of whatever stands on platform/audio_endpoint.h.
//
// Every operation may be called from any thread.
#pragma once

#include "platform/audio_endpoint.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fake_audio {

/// One for every function of the seam, and one for the freeing of handles.
enum class Call {
    system_init,
    system_uninit,
    enumerator_create,
    default_device,
    active_count,
    active_ids,
    active_device,
    device_id,
    friendly_name,
    activate,
    initialize,
    initialize_mix_format,
    start,
    stop,
    buffer_size,
    padding,
    latency,
    capture_service,
    render_service,
    next_packet_size,
    capture_get_buffer,
    capture_release_buffer,
    render_get_buffer,
    render_release_buffer,
    release,
    count_
};

/// Forgets endpoints, scripts and records; ends every hang. All handles must have been freed.
void reset();

// The endpoints of the machine. The first of a direction becomes its default.

void add_endpoint(AudioFlow flow, const std::string& id, const std::string& name);

/// Unplugs: every later call on its handles fails with k_audio_device_gone.
void remove_endpoint(const std::string& id);

/// An empty id: the direction has no default. The id need not be active.
void set_default(AudioFlow flow, const std::string& id);

// Failures.

/// Lets `call` return `code`, for one direction or both, until healed. A success code other than 0
/// is returned by a call that does its work.
void answer(Call call, AudioResult code, std::optional<AudioFlow> flow = std::nullopt);
void heal(Call call);

/// Lets the next thread in `call` block inside it, as a driver does that stopped answering.
void hang(Call call);
bool wait_until_hanging(Call call);

/// Lets blocked threads go on and takes back what hang() asked for.
void resume(Call call);

// Microphones. Only a started client delivers.

/// Queues one packet of interleaved stereo samples. An empty one is announced with 480 frames and
/// turns out to have none.
void push_packet(const std::string& id, std::vector<float> samples);

/// From now on every look for packets finds one of `frames` frames, all samples `value`. 0 frames:
/// no longer.
void set_tone(const std::string& id, float value, std::uint32_t frames);

// Loudspeakers.

constexpr std::uint32_t k_default_buffer_frames = 960;
constexpr std::uint32_t k_default_padding = 480;

void set_buffer_frames(const std::string& id, std::uint32_t frames);
void set_padding(const std::string& id, std::uint32_t frames);
void set_latency_us(const std::string& id, std::uint32_t microseconds);

/// All samples queued for playing so far. A sample that the program left unwritten is
/// k_unwritten.
std::vector<float> rendered(const std::string& id);
constexpr float k_unwritten = 12345.0F;

// What the program did.

/// The calls in order, without those of the capture and render threads and the questions about
/// buffers: "activate mic", "initialize 2x48000 20 ms mic", "release client mic".
std::vector<std::string> calls();

int count(Call call);

/// Waits until `call` was made `times` times in all; false after ten seconds.
bool wait_for_count(Call call, int times);

/// How many different threads have made `call`.
std::size_t thread_count(Call call);

/// Handles handed out and not freed.
int live_handles();

/// Handles handed out so far.
int acquired_handles();

/// Breaches of the seam's rules, in words: a freed handle used, a buffer taken twice or not given
/// back as got, more frames asked for than are free, the system ended under live handles.
std::vector<std::string> violations();

} // namespace fake_audio
