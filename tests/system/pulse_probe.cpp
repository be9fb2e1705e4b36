// The sound server's half of the probe: streams, and the clock readings that put them on one
// timeline.
#include "system/pulse_probe.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <pulse/pulseaudio.h>
#include <sched.h>
#include <span>
#include <stop_token>
#include <thread>

namespace {

constexpr pa_sample_spec k_format{PA_SAMPLE_FLOAT32LE, 48000, 2};
constexpr std::uint32_t k_frame_bytes = 8;
constexpr std::uint32_t k_second_bytes = 48000 * k_frame_bytes;
/// The server holds this much to play: enough to bridge any stall of this process.
constexpr std::uint32_t k_play_buffer_bytes = 2 * k_second_bytes;
/// ... and asks for more in such pieces, which is also what the sink then mixes ahead.
constexpr std::uint32_t k_play_request_bytes = k_second_bytes / 50;
constexpr std::uint32_t k_record_fragment_bytes = k_second_bytes / 20;
constexpr auto k_reading_interval = std::chrono::milliseconds(50);
/// Recordings run this long before the plays begin, so that their beginnings are safe.
constexpr auto k_settle_time = std::chrono::milliseconds(400);
/// Recordings go on this long after the end: a monitor's last samples arrive late.
constexpr auto k_tail_time = std::chrono::milliseconds(300);
/// Short beside the stalls that matter, of which what falls into a nap is not seen.
constexpr auto k_nap = std::chrono::milliseconds(2);
/// The readings between these shares count for the spread: a stalled reading now and then says
/// nothing about the sound.
constexpr double k_spread_low = 0.1;
constexpr double k_spread_high = 0.9;

using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t g_interrupted = 0;

void on_signal(int /*signal*/) {
    g_interrupted = 1;
}

struct PulseRelease {
    void operator()(pa_threaded_mainloop* loop) const { pa_threaded_mainloop_free(loop); }
    void operator()(pa_context* context) const {
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
    void operator()(pa_stream* stream) const {
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
    }
    void operator()(pa_operation* operation) const { pa_operation_unref(operation); }
};

template <typename Handle>
using PulsePtr = std::unique_ptr<Handle, PulseRelease>;

struct Stream {
    bool plays = false;
    std::string device;
    PulsePtr<pa_stream> handle;
    /// Readings of when sample 0 sounded, or would have, in seconds of the system's steady clock.
    std::vector<double> origins;

    std::span<const float> to_play;
    std::size_t played = 0; ///< samples handed over
    bool loop = false;
    bool all_played = false;
    int underruns = 0;

    std::vector<float> recorded;
    int holes = 0;
};

/// The threaded main loop with its lock held for as long as this lives.
class LoopLock {
  public:
    explicit LoopLock(pa_threaded_mainloop* loop) : m_loop(loop) {
        pa_threaded_mainloop_lock(loop);
    }
    ~LoopLock() { pa_threaded_mainloop_unlock(m_loop); }
    LoopLock(const LoopLock&) = delete;
    LoopLock& operator=(const LoopLock&) = delete;

  private:
    pa_threaded_mainloop* m_loop;
};

// The callbacks run on the loop's thread, with its lock held.

void on_readable(pa_stream* handle, std::size_t /*bytes*/, void* data) {
    auto& stream = *static_cast<Stream*>(data);
    const void* fragment = nullptr;
    std::size_t bytes = 0;
    while (pa_stream_peek(handle, &fragment, &bytes) == 0 && bytes > 0) {
        const std::size_t before = stream.recorded.size();
        stream.recorded.resize(before + bytes / sizeof(float));
        if (fragment != nullptr) {
            std::memcpy(stream.recorded.data() + before, fragment, bytes);
        } else {
            ++stream.holes;
        }
        pa_stream_drop(handle);
    }
}

void on_writable(pa_stream* handle, std::size_t bytes, void* data) {
    auto& stream = *static_cast<Stream*>(data);
    std::size_t wanted = bytes / sizeof(float);
    while (wanted > 0 && !stream.all_played) {
        const std::size_t count = std::min(wanted, stream.to_play.size() - stream.played);
        if (pa_stream_write(handle, stream.to_play.data() + stream.played, count * sizeof(float),
                            nullptr, 0, PA_SEEK_RELATIVE) != 0) {
            return;
        }
        wanted -= count;
        stream.played += count;
        if (stream.played == stream.to_play.size()) {
            stream.played = 0;
            stream.all_played = !stream.loop;
        }
    }
}

void on_underflow(pa_stream* /*handle*/, void* data) {
    auto& stream = *static_cast<Stream*>(data);
    stream.underruns += stream.all_played ? 0 : 1;
}

double to_seconds(pa_usec_t microseconds) {
    return static_cast<double>(microseconds) * 1e-6;
}

double byte_time(std::int64_t bytes) {
    return static_cast<double>(bytes) / static_cast<double>(k_second_bytes);
}

/// Turns the server's answer into a reading of the stream's origin.
void on_timing(pa_stream* handle, int success, void* data) {
    auto& stream = *static_cast<Stream*>(data);
    const pa_timing_info* timing = success != 0 ? pa_stream_get_timing_info(handle) : nullptr;
    if (timing == nullptr) {
        return;
    }
    // How long ago the server looked; the steady clock itself is not in the answer.
    timeval now{};
    pa_gettimeofday(&now);
    const double age = to_seconds(pa_timeval_diff(&now, &timing->timestamp));
    const double looked = to_seconds(pa_rtclock_now()) - age;

    if (!stream.plays) {
        // The newest sample in the server's queue left the device some time ago; a monitor hands
        // out what its sink will play only later.
        const double position = byte_time(timing->write_index) + to_seconds(timing->source_usec) -
                                to_seconds(timing->sink_usec);
        stream.origins.push_back(looked - position);
    } else if (timing->playing != 0 &&
               byte_time(timing->since_underrun) > to_seconds(timing->sink_usec)) {
        const double position = byte_time(timing->read_index) - to_seconds(timing->sink_usec);
        stream.origins.push_back(looked - position);
    }
}

void on_change(pa_threaded_mainloop* loop) {
    pa_threaded_mainloop_signal(loop, 0);
}

double pick(std::vector<double> values, double share) {
    const std::ptrdiff_t index = std::lround(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[static_cast<std::size_t>(index)];
}

double origin_of(const Stream& stream) {
    return pick(stream.origins, 0.5);
}

double spread_ms_of(const Stream& stream) {
    return 1000.0 * (pick(stream.origins, k_spread_high) - pick(stream.origins, k_spread_low));
}

/// One connection to the sound server with all its streams. Members are freed from the last to the
/// first, after the loop has stopped.
struct Probe {
    PulsePtr<pa_threaded_mainloop> loop;
    PulsePtr<pa_context> context;
    std::vector<std::unique_ptr<Stream>> streams;

    Probe() = default;
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;
    ~Probe() {
        if (loop) {
            pa_threaded_mainloop_stop(loop.get());
        }
    }

    std::string reason() const { return pa_strerror(pa_context_errno(context.get())); }
};

bool connect(Probe& probe, std::string& error) {
    probe.loop.reset(pa_threaded_mainloop_new());
    probe.context.reset(
        pa_context_new(pa_threaded_mainloop_get_api(probe.loop.get()), "velmo-sound-probe"));
    pa_context_set_state_callback(
        probe.context.get(),
        [](pa_context*, void* loop) { on_change(static_cast<pa_threaded_mainloop*>(loop)); },
        probe.loop.get());
    if (pa_context_connect(probe.context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) != 0 ||
        pa_threaded_mainloop_start(probe.loop.get()) != 0) {
        error = "no sound server: " + probe.reason();
        return false;
    }
    const LoopLock lock(probe.loop.get());
    while (true) {
        const pa_context_state_t state = pa_context_get_state(probe.context.get());
        if (state == PA_CONTEXT_READY) {
            return true;
        }
        if (!PA_CONTEXT_IS_GOOD(state)) {
            error = "no sound server: " + probe.reason();
            return false;
        }
        pa_threaded_mainloop_wait(probe.loop.get());
    }
}

/// Opens a stream on `device` and waits until it is ready; a playing one stays paused, its buffer
/// filled.
bool open_stream(Probe& probe, Stream& stream, std::string& error) {
    const LoopLock lock(probe.loop.get());
    stream.handle.reset(pa_stream_new(probe.context.get(), "probe", &k_format, nullptr));
    if (!stream.handle) {
        error = stream.device + ": " + probe.reason();
        return false;
    }
    pa_stream* handle = stream.handle.get();
    pa_stream_set_state_callback(
        handle, [](pa_stream*, void* loop) { on_change(static_cast<pa_threaded_mainloop*>(loop)); },
        probe.loop.get());
    constexpr auto k_unset = std::numeric_limits<std::uint32_t>::max();
    pa_buffer_attr buffer{k_unset, k_unset, k_unset, k_unset, k_unset};
    int result = 0;
    if (stream.plays) {
        buffer.tlength = k_play_buffer_bytes;
        buffer.minreq = k_play_request_bytes;
        buffer.prebuf = 0;
        pa_stream_set_write_callback(handle, on_writable, &stream);
        pa_stream_set_underflow_callback(handle, on_underflow, &stream);
        constexpr auto k_flags = static_cast<pa_stream_flags_t>(
            PA_STREAM_START_CORKED | PA_STREAM_EARLY_REQUESTS | PA_STREAM_DONT_MOVE);
        result = pa_stream_connect_playback(handle, stream.device.c_str(), &buffer, k_flags,
                                            nullptr, nullptr);
    } else {
        // No latency is asked for: what is measured must not be changed by measuring.
        buffer.fragsize = k_record_fragment_bytes;
        pa_stream_set_read_callback(handle, on_readable, &stream);
        result =
            pa_stream_connect_record(handle, stream.device.c_str(), &buffer, PA_STREAM_DONT_MOVE);
    }
    while (result == 0) {
        const pa_stream_state_t state = pa_stream_get_state(handle);
        if (state == PA_STREAM_READY) {
            return true;
        }
        if (!PA_STREAM_IS_GOOD(state)) {
            break;
        }
        pa_threaded_mainloop_wait(probe.loop.get());
    }
    error = stream.device + ": " + probe.reason();
    return false;
}

void start_plays(Probe& probe) {
    const LoopLock lock(probe.loop.get());
    for (const auto& stream : probe.streams) {
        if (stream->plays) {
            const PulsePtr<pa_operation> operation(
                pa_stream_cork(stream->handle.get(), 0, nullptr, nullptr));
        }
    }
}

/// Reads every stream's clock now and then until `end` or a signal. False when the server is gone.
bool watch_until(Probe& probe, Clock::time_point end, std::string& error) {
    while (g_interrupted == 0 && Clock::now() < end) {
        {
            const LoopLock lock(probe.loop.get());
            for (const auto& stream : probe.streams) {
                if (pa_stream_get_state(stream->handle.get()) != PA_STREAM_READY) {
                    error = stream->device + ": was lost while running";
                    return false;
                }
                const PulsePtr<pa_operation> operation(
                    pa_stream_update_timing_info(stream->handle.get(), on_timing, stream.get()));
            }
        }
        std::this_thread::sleep_for(
            std::min<Clock::duration>(k_reading_interval, end - Clock::now()));
    }
    return true;
}

/// Finds out how busy the machine is: on every processor something naps and notes how late it was
/// woken. One alone would be woken on whichever processor is free, while a host has taken the other
/// from the thread that was on it.
class StallWatch {
  public:
    StallWatch() {
        cpu_set_t processors;
        CPU_ZERO(&processors);
        sched_getaffinity(0, sizeof processors, &processors);
        for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
            if (CPU_ISSET(processor, &processors)) {
                m_threads.emplace_back([this, processor](const std::stop_token& stop) {
                    note_stall(watch(stop, processor));
                });
            }
        }
    }

    double stop() {
        m_threads.clear();
        return m_longest_ms;
    }

  private:
    static double watch(const std::stop_token& stop, int processor) {
        cpu_set_t only;
        CPU_ZERO(&only);
        CPU_SET(processor, &only);
        pthread_setaffinity_np(pthread_self(), sizeof only, &only);
        double longest_ms = 0.0;
        while (!stop.stop_requested()) {
            const Clock::time_point before = Clock::now();
            std::this_thread::sleep_for(k_nap);
            const std::chrono::duration<double, std::milli> late = Clock::now() - before - k_nap;
            longest_ms = std::max(longest_ms, late.count());
        }
        return longest_ms;
    }

    void note_stall(double stall_ms) {
        const std::lock_guard lock(m_mutex);
        m_longest_ms = std::max(m_longest_ms, stall_ms);
    }

    std::mutex m_mutex;
    double m_longest_ms = 0.0;
    std::vector<std::jthread> m_threads;
};

/// Moves what was recorded onto the timeline that begins at `start` and lasts `frames`.
StereoSound align(const Stream& stream, double start, std::ptrdiff_t frames) {
    StereoSound sound;
    sound.samples.resize(static_cast<std::size_t>(frames) * 2);
    const auto skip =
        static_cast<std::ptrdiff_t>(std::lround((start - origin_of(stream)) * k_sound_rate));
    const auto available = static_cast<std::ptrdiff_t>(stream.recorded.size() / 2);
    const std::ptrdiff_t from = std::max<std::ptrdiff_t>(-skip, 0);
    const std::ptrdiff_t to = std::min(frames, available - skip);
    if (from < to) {
        std::copy(stream.recorded.begin() + (from + skip) * 2,
                  stream.recorded.begin() + (to + skip) * 2, sound.samples.begin() + from * 2);
    }
    return sound;
}

bool open_all(Probe& probe, const ProbePlan& plan, std::string& error) {
    for (const ProbeRecord& record : plan.records) {
        auto& stream = *probe.streams.emplace_back(std::make_unique<Stream>());
        stream.device = record.source;
        stream.recorded.reserve(static_cast<std::size_t>((plan.seconds + 3.0) * k_sound_rate) * 2);
        if (!open_stream(probe, stream, error)) {
            return false;
        }
    }
    for (const ProbePlay& play : plan.plays) {
        auto& stream = *probe.streams.emplace_back(std::make_unique<Stream>());
        stream.plays = true;
        stream.device = play.sink;
        stream.to_play = play.sound.samples;
        stream.loop = plan.loop;
        if (!open_stream(probe, stream, error)) {
            return false;
        }
    }
    return true;
}

} // namespace

bool run_probe(ProbePlan& plan, std::string& error) {
    std::signal(SIGINT, on_signal);
    std::signal(SIGTERM, on_signal);
    Probe probe;
    if (!connect(probe, error) || !open_all(probe, plan, error) ||
        !watch_until(probe, Clock::now() + k_settle_time, error)) {
        return false;
    }
    const double recordings_ready = to_seconds(pa_rtclock_now());
    StallWatch stalls;
    start_plays(probe);
    std::puts("started");
    std::fflush(stdout);
    const auto duration = std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(plan.seconds) + k_tail_time);
    if (!watch_until(probe, Clock::now() + duration, error)) {
        return false;
    }
    plan.longest_stall_ms = stalls.stop();

    const LoopLock lock(probe.loop.get());
    for (const auto& stream : probe.streams) {
        if (stream->origins.empty()) {
            error = stream->device + ": the sound server never told its timing";
            return false;
        }
    }
    const std::size_t first_play = plan.records.size();
    const double start =
        plan.plays.empty() ? recordings_ready : origin_of(*probe.streams[first_play]);
    // After a signal only what was recorded until then.
    const double elapsed = std::max(to_seconds(pa_rtclock_now()) - start, 0.0);
    const auto frames =
        static_cast<std::ptrdiff_t>(std::lround(std::min(plan.seconds, elapsed) * k_sound_rate));
    for (std::size_t i = 0; i < plan.records.size(); ++i) {
        const Stream& stream = *probe.streams[i];
        plan.records[i].sound = align(stream, start, frames);
        plan.records[i].spread_ms = spread_ms_of(stream);
        plan.records[i].holes = stream.holes;
    }
    for (std::size_t i = 0; i < plan.plays.size(); ++i) {
        const Stream& stream = *probe.streams[first_play + i];
        plan.plays[i].offset_ms = 1000.0 * (origin_of(stream) - start);
        plan.plays[i].spread_ms = spread_ms_of(stream);
        plan.plays[i].underruns = stream.underruns;
    }
    return true;
}
