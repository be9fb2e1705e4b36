// The sound server's connection and its streams, which the Linux half of the audio seam is made of.
// Private to platform/linux.
//
// One lock discipline: libpulse's thread owns everything while it runs callbacks, so every call
// into libpulse is made with the connection locked, every wait happens in a loop that asks for its
// condition again, and callbacks, which hold the lock already, never lock and never wait.
#pragma once

#include "platform/audio_endpoint.h"
#include "platform/audio_samples.h"

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/mainloop-api.h>
#include <pulse/operation.h>
#include <pulse/stream.h>
#include <pulse/thread-mainloop.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The results of a wrong order of calls; the same bits as on the other system.
constexpr AudioResult k_audio_already_initialized = audio_code(0x88890002);
constexpr AudioResult k_audio_wrong_endpoint_type = audio_code(0x88890003);
constexpr AudioResult k_audio_not_stopped = audio_code(0x88890005);
constexpr AudioResult k_audio_buffer_too_large = audio_code(0x88890006);
constexpr AudioResult k_audio_out_of_order = audio_code(0x88890007);
constexpr AudioResult k_audio_invalid_size = audio_code(0x88890009);
/// Successes that tell the caller something.
constexpr AudioResult k_audio_false = 1;
constexpr AudioResult k_audio_buffer_empty = 0x08890001;

/// What a caller waits for the server in one call of the seam, altogether.
constexpr pa_usec_t k_server_wait_us = 3'000'000;

/// After a wait in vain the server is left alone for so long: calls fail at once meanwhile.
constexpr pa_usec_t k_server_rest_us = 2'000'000;

/// When the running call must be over, in the time of pa_rtclock_now.
using PulseDeadline = pa_usec_t;
PulseDeadline pulse_deadline();

/// An endpoint as the server lists it.
struct PulseEndpoint {
    std::string name; ///< the identifier
    std::string description;
    bool is_monitor = false; ///< a source that records what a sink plays
    pa_sample_spec format{};
    pa_channel_map channels{};
};

/// Owns an operation; an unfinished one is cancelled, so that its callback is not called any more.
/// Used with the connection locked.
class PulseOperation {
  public:
    PulseOperation() = default;
    explicit PulseOperation(pa_operation* operation) : m_operation(operation) {}
    PulseOperation(PulseOperation&& other) noexcept
        : m_operation(std::exchange(other.m_operation, nullptr)) {}
    PulseOperation& operator=(PulseOperation&& other) noexcept {
        std::swap(m_operation, other.m_operation);
        return *this;
    }
    ~PulseOperation();

    explicit operator bool() const { return m_operation != nullptr; }
    bool is_running() const;
    bool is_done() const;

    /// Lets go of it uncancelled; for operations without a callback.
    void let_run();

  private:
    pa_operation* m_operation = nullptr;
};

/// libpulse's thread and, while there is a server, the connection to it. Shared by the handles that
/// came from one enumerator.
class PulseConnection {
  public:
    /// Null when the thread cannot be had. Does not connect yet.
    static std::shared_ptr<PulseConnection> create();

    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;
    ~PulseConnection();

    /// For std::lock_guard; any thread but libpulse's own. Everything below needs the lock.
    void lock();
    void unlock();

    /// Connects unless connected; a lost server is looked for again.
    AudioResult connect(PulseDeadline deadline);

    /// The connection, null before the first connect.
    pa_context* context() const { return m_context; }

    /// Wakes all waiters. For callbacks.
    void wake();

    /// Waits until `done` answers true; false when the deadline came first, and the connection is
    /// given up then: a server that takes so long is as good as gone.
    template <typename Done>
    bool wait_until(PulseDeadline deadline, Done done) {
        if (done()) {
            return true;
        }
        Alarm alarm(*this, deadline);
        while (!done()) {
            if (alarm.has_rung()) {
                give_up();
                return false;
            }
            wait();
        }
        return true;
    }

    /// Waits for an operation; fails when the server is lost meanwhile, and for an absent one.
    AudioResult finish(PulseOperation operation, PulseDeadline deadline);

    /// The code for what the connection failed with last.
    AudioResult last_error() const;

    // The three questions connect first when need be.

    /// The endpoints of a direction in the server's order, monitors included.
    AudioResult list(AudioFlow flow, PulseDeadline deadline, std::vector<PulseEndpoint>& endpoints);

    /// The endpoint of this name, index or server-defined alias; k_audio_not_found without one.
    AudioResult find(AudioFlow flow, const std::string& name, PulseDeadline deadline,
                     PulseEndpoint& endpoint);

    /// The name of the server's own default endpoint; empty without one.
    AudioResult server_default(AudioFlow flow, PulseDeadline deadline, std::string& name);

  private:
    /// Wakes the waiters at a time, as long as it lives.
    class Alarm {
      public:
        Alarm(PulseConnection& connection, PulseDeadline when);
        Alarm(const Alarm&) = delete;
        Alarm& operator=(const Alarm&) = delete;
        ~Alarm();
        bool has_rung() const { return m_has_rung; }

      private:
        PulseConnection& m_connection;
        pa_time_event* m_event;
        bool m_has_rung;
    };

    explicit PulseConnection(pa_threaded_mainloop* loop) : m_loop(loop) {}
    bool is_good() const;
    void drop_context();
    void give_up();
    void wait();

    pa_threaded_mainloop* m_loop;
    pa_context* m_context = nullptr;
    pa_usec_t m_rest_until = 0;
};

/// One playback or record stream. Shared by a client and its services, so that they may be released
/// in any order. Locks by itself.
class PulseStream {
  public:
    PulseStream(std::shared_ptr<PulseConnection> connection, AudioFlow flow, std::string endpoint);
    PulseStream(const PulseStream&) = delete;
    PulseStream& operator=(const PulseStream&) = delete;
    ~PulseStream();

    AudioFlow flow() const { return m_flow; }

    AudioResult initialize(const AudioFormat& format, std::uint32_t buffer_ms);
    AudioResult initialize_mix_format(std::uint32_t buffer_ms);
    AudioResult start();
    AudioResult stop();
    AudioResult buffer_size(std::uint32_t& frames);
    AudioResult padding(std::uint32_t& frames);
    AudioResult latency_us(std::uint32_t& microseconds);

    /// Whether the client is initialised, and its endpoint of this direction.
    AudioResult check_service(AudioFlow flow);

    AudioResult next_packet_size(std::uint32_t& frames);
    AudioResult get_capture_buffer(float*& samples, std::uint32_t& frames);
    AudioResult release_capture_buffer(std::uint32_t frames);

    AudioResult get_render_buffer(std::uint32_t frames, float*& samples);
    AudioResult release_render_buffer(std::uint32_t frames);

  private:
    // All with the connection locked.
    AudioResult open(const pa_sample_spec& format, const pa_channel_map& channels,
                     std::uint32_t buffer_ms, PulseDeadline deadline);
    AudioResult set_corked(bool corked);
    AudioResult state() const;
    AudioResult count_padding(std::uint32_t& frames) const;
    AudioResult fill_packet();
    std::uint32_t packet_size() const;
    void watch_move();
    void close();

    const std::shared_ptr<PulseConnection> m_connection;
    const AudioFlow m_flow;
    const std::string m_endpoint;

    // Guarded by the connection's lock.
    pa_stream* m_stream = nullptr;
    pa_context* m_context = nullptr; ///< the stream's; an ended stream forgets it
    std::uint32_t m_channels = 0;    ///< as the stream delivers them, before they are made two
    bool m_is_started = false;
    PulseOperation m_move_query;  ///< asks what the stream was moved to
    bool m_is_on_monitor = false; ///< moved to a source that no microphone list has

    std::vector<float> m_packet;       ///< in stereo
    std::uint32_t m_period_frames = 0; ///< a packet's size, 10 ms
    std::uint32_t m_packet_frames = 0;
    std::uint32_t m_fragment_used = 0; ///< frames of the server's fragment that are in a packet
    bool m_is_packet_out = false;

    std::uint32_t m_buffer_frames = 0;
    std::vector<float> m_render_buffer;
    std::uint32_t m_render_frames = 0;
    bool m_is_render_out = false;
};
