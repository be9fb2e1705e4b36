// Seam: audio endpoints, in the vocabulary of a shared-mode, polled, pull-and-release audio system:
// enumerator -> device -> client -> capture or render service. One implementation per system.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// A system result: not negative is success, negative a failure whose bits the logs show as
/// "0x%08X". The values below are what both systems answer for these cases.
using AudioResult = std::int32_t;

constexpr bool audio_ok(AudioResult result) {
    return result >= 0;
}

constexpr AudioResult audio_code(std::uint32_t bits) {
    return static_cast<AudioResult>(bits);
}

constexpr AudioResult k_audio_ok = 0;
constexpr AudioResult k_audio_fail = audio_code(0x80004005);
constexpr AudioResult k_audio_changed_mode =
    audio_code(0x80010106); // set up before, in another mode
constexpr AudioResult k_audio_not_found = audio_code(0x80070490);
constexpr AudioResult k_audio_not_initialized = audio_code(0x88890001);
constexpr AudioResult k_audio_device_gone = audio_code(0x88890004);
constexpr AudioResult k_audio_unsupported_format = audio_code(0x88890008);
constexpr AudioResult k_audio_server_gone = audio_code(0x88890010);

enum class AudioFlow { render = 0, capture = 1 };

/// IEEE float samples, interleaved.
struct AudioFormat {
    std::uint32_t channels;
    std::uint32_t samples_per_second;
};

constexpr AudioFormat k_stereo_48k{2, 48000};

struct AudioEnumerator;
struct AudioDevice;
struct AudioClient;
struct AudioCaptureService;
struct AudioRenderService;

/// Frees any handle of this seam. A handle may be freed before those it came from, in any order.
struct AudioRelease {
    void operator()(AudioEnumerator* enumerator) const;
    void operator()(AudioDevice* device) const;
    void operator()(AudioClient* client) const;
    void operator()(AudioCaptureService* service) const;
    void operator()(AudioRenderService* service) const;
};

template <typename Handle>
using AudioPtr = std::unique_ptr<Handle, AudioRelease>;

/// Sets audio up for the calling thread (COM, apartment-threaded); k_audio_changed_mode when the
/// thread has it in another mode already. Main thread.
AudioResult audio_system_init();

/// Ends what a successful audio_system_init began. Main thread.
void audio_system_uninit();

/// Main thread, as all enumerator and device functions. Every function below leaves its output
/// untouched when it fails.
AudioResult audio_enumerator_create(AudioPtr<AudioEnumerator>& enumerator);

/// The default endpoint for the console role; k_audio_not_found when there is none.
AudioResult audio_default_device(AudioEnumerator& enumerator, AudioFlow flow,
                                 AudioPtr<AudioDevice>& device);

/// The number of active endpoints, in the system's order, as of this call.
AudioResult audio_active_count(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t& count);

/// The identifiers of the active endpoints, in the same order, as of this call; empty for one that
/// has none to tell.
AudioResult audio_active_ids(AudioEnumerator& enumerator, AudioFlow flow,
                             std::vector<std::string>& ids);

/// The active endpoint at `index`, as of this call; k_audio_not_found outside the list.
AudioResult audio_active_device(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t index,
                                AudioPtr<AudioDevice>& device);

/// The endpoint's identifier, stable while it exists.
AudioResult audio_device_id(AudioDevice& device, std::string& id);

/// The endpoint's name for people, UTF-8.
AudioResult audio_device_friendly_name(AudioDevice& device, std::string& name);

/// A new, uninitialised client on the endpoint; k_audio_device_gone when it is gone, which on some
/// systems only the initialisation tells. Control thread (whoever starts and stops audio, one at a
/// time, after audio_system_init on that thread), as the client functions below but for
/// audio_client_stop.
AudioResult audio_device_activate(AudioDevice& device, AudioPtr<AudioClient>& client);

/// Prepares a shared-mode stream with a buffer of `buffer_ms` (the system may grant more) and no
/// event callback. Once per client after a success. k_audio_unsupported_format for anything but two
/// channels at 8 to 192 kHz, and for a rate that the endpoint does not take.
AudioResult audio_client_initialize(AudioClient& client, const AudioFormat& format,
                                    std::uint32_t buffer_ms);

/// As above with the endpoint's own mix format, for capture only (k_audio_unsupported_format on a
/// render endpoint). The capture service still hands out two channels of floats: mono doubled, the
/// first two of more, whole numbers scaled. The rate stays the endpoint's. The program may refuse
/// by itself, without asking the system: k_audio_unsupported_format, the code that a system answers
/// as well, also stands for samples that are not converted (8-bit, 64-bit floats, unpacked).
AudioResult audio_client_initialize_mix_format(AudioClient& client, std::uint32_t buffer_ms);

AudioResult audio_client_start(AudioClient& client);

/// Stops the stream and keeps the client. Control thread, or one that never called
/// audio_system_init: the voice network thread stops audio when the server ends the session. Never
/// at the same time as a function of the control thread.
AudioResult audio_client_stop(AudioClient& client);

/// The buffer's size in frames. Control or render thread.
AudioResult audio_client_buffer_size(AudioClient& client, std::uint32_t& frames);

/// Frames queued for playing and not yet played, at most the buffer's size. Control or render
/// thread.
AudioResult audio_client_padding(AudioClient& client, std::uint32_t& frames);

/// The time from the device to the program (capture) or back (render) beside the padding, in
/// microseconds, as far as the system knows it: for measurements only. Any thread.
AudioResult audio_client_latency_us(AudioClient& client, std::uint32_t& microseconds);

AudioResult audio_client_capture_service(AudioClient& client,
                                         AudioPtr<AudioCaptureService>& service);
AudioResult audio_client_render_service(AudioClient& client, AudioPtr<AudioRenderService>& service);

/// The next packet's size in frames, 0 when none is waiting: what the device delivers at a time, at
/// most the client's buffer. Capture thread, as the two functions below; none of the three blocks
/// or allocates.
AudioResult audio_capture_next_packet_size(AudioCaptureService& service, std::uint32_t& frames);

/// The next packet: interleaved stereo samples that the caller may change, valid until released.
/// Succeeds with 0 frames when none is waiting; such a packet need not be released.
AudioResult audio_capture_get_buffer(AudioCaptureService& service, float*& samples,
                                     std::uint32_t& frames);

/// Gives the packet back; `frames` as got, or 0 to have the same packet as the next one again.
AudioResult audio_capture_release_buffer(AudioCaptureService& service, std::uint32_t frames);

/// Room for `frames` stereo frames (at most buffer size less padding), valid until released. Render
/// thread; neither call blocks or allocates.
AudioResult audio_render_get_buffer(AudioRenderService& service, std::uint32_t frames,
                                    float*& samples);

/// Queues the first `frames` of the room for playing, at most as many as were asked for; 0 queues
/// none.
AudioResult audio_render_release_buffer(AudioRenderService& service, std::uint32_t frames);
