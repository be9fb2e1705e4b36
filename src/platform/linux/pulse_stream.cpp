// A playback or record stream behind an audio client and its services. Called by
// audio_endpoint.cpp.
#include "platform/linux/pulse_internal.h"

#include <pulse/def.h>
#include <pulse/timeval.h>

#include <algorithm>
#include <mutex>
#include <span>

namespace {

using ConnectionLock = std::lock_guard<PulseConnection>;

/// What the caller did not fetch in this time is of no use to a conversation any more.
constexpr std::uint32_t k_capture_backlog_ms = 200;

/// The period of this system's microphones, 10 ms.
constexpr std::uint32_t k_packets_per_second = 100;

/// Buffers that make sense.
constexpr std::uint32_t k_shortest_buffer_ms = 4;
constexpr std::uint32_t k_longest_buffer_ms = 2000;

constexpr std::size_t k_stereo = 2;

std::size_t bytes_of(const pa_sample_spec& format, std::uint32_t milliseconds) {
    return pa_usec_to_bytes(pa_usec_t{milliseconds} * PA_USEC_PER_MSEC, &format);
}

} // namespace

PulseStream::PulseStream(std::shared_ptr<PulseConnection> connection, AudioFlow flow,
                         std::string endpoint)
    : m_connection(std::move(connection)), m_flow(flow), m_endpoint(std::move(endpoint)) {}

PulseStream::~PulseStream() {
    const ConnectionLock lock(*m_connection);
    close();
}

void PulseStream::close() {
    m_move_query = PulseOperation();
    if (m_stream == nullptr) {
        return;
    }
    pa_stream_set_state_callback(m_stream, nullptr, nullptr);
    pa_stream_set_moved_callback(m_stream, nullptr, nullptr);
    pa_stream_disconnect(m_stream);
    pa_stream_unref(m_stream);
    m_stream = nullptr;
    pa_context_unref(m_context);
    m_context = nullptr;
}

AudioResult PulseStream::initialize(const AudioFormat& format, std::uint32_t buffer_ms) {
    if (!is_supported(format)) {
        return k_audio_unsupported_format;
    }
    pa_channel_map channels;
    pa_channel_map_init_stereo(&channels);
    const ConnectionLock lock(*m_connection);
    return open(
        {PA_SAMPLE_FLOAT32NE, format.samples_per_second, static_cast<std::uint8_t>(k_stereo)},
        channels, buffer_ms, pulse_deadline());
}

AudioResult PulseStream::initialize_mix_format(std::uint32_t buffer_ms) {
    if (m_flow != AudioFlow::capture) {
        return k_audio_unsupported_format;
    }
    const PulseDeadline deadline = pulse_deadline();
    const ConnectionLock lock(*m_connection);
    PulseEndpoint endpoint;
    const AudioResult result = m_connection->find(m_flow, m_endpoint, deadline, endpoint);
    if (!audio_ok(result)) {
        return result == k_audio_not_found ? k_audio_device_gone : result;
    }
    return open({PA_SAMPLE_FLOAT32NE, endpoint.format.rate, endpoint.format.channels},
                endpoint.channels, buffer_ms, deadline);
}

AudioResult PulseStream::open(const pa_sample_spec& format, const pa_channel_map& channels,
                              std::uint32_t buffer_ms, PulseDeadline deadline) {
    if (m_stream != nullptr) {
        return k_audio_already_initialized;
    }
    const AudioResult connected = m_connection->connect(deadline);
    if (!audio_ok(connected)) {
        return connected;
    }
    m_stream = pa_stream_new(m_connection->context(), "Voice", &format, &channels);
    if (m_stream == nullptr) {
        return m_connection->last_error();
    }
    m_context = pa_context_ref(m_connection->context());
    pa_stream_set_state_callback(
        m_stream,
        [](pa_stream*, void* data) { static_cast<PulseStream*>(data)->m_connection->wake(); },
        this);
    pa_stream_set_moved_callback(
        m_stream, [](pa_stream*, void* data) { static_cast<PulseStream*>(data)->watch_move(); },
        this);

    buffer_ms = std::clamp(buffer_ms, k_shortest_buffer_ms, k_longest_buffer_ms);
    constexpr auto server_chooses = static_cast<std::uint32_t>(-1);
    const auto frame_size = static_cast<std::uint32_t>(pa_frame_size(&format));
    constexpr auto flags = static_cast<pa_stream_flags_t>(
        PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE);
    pa_buffer_attr wanted{server_chooses, server_chooses, server_chooses, server_chooses,
                          server_chooses};
    int answer = 0;
    if (m_flow == AudioFlow::render) {
        // The whole way, of which the server leaves the device half of what two requests do not
        // take: the buffer asked for remains for the caller.
        wanted.tlength = static_cast<std::uint32_t>(bytes_of(format, buffer_ms * 3 / 2));
        wanted.minreq = static_cast<std::uint32_t>(bytes_of(format, buffer_ms / 4));
        // After an underrun the next frame plays at once, as a clocked device would have it.
        wanted.prebuf = frame_size;
        answer = pa_stream_connect_playback(m_stream, m_endpoint.c_str(), &wanted, flags, nullptr,
                                            nullptr);
    } else {
        wanted.fragsize = static_cast<std::uint32_t>(bytes_of(format, buffer_ms / 2));
        wanted.maxlength =
            static_cast<std::uint32_t>(bytes_of(format, std::max(buffer_ms, k_capture_backlog_ms)));
        answer = pa_stream_connect_record(m_stream, m_endpoint.c_str(), &wanted, flags);
    }
    if (answer < 0) {
        const AudioResult error = m_connection->last_error();
        close();
        return error;
    }
    m_connection->wait_until(
        deadline, [this] { return pa_stream_get_state(m_stream) != PA_STREAM_CREATING; });
    if (pa_stream_get_state(m_stream) != PA_STREAM_READY) {
        const AudioResult error = m_connection->last_error();
        close();
        return error;
    }

    m_period_frames = format.rate / k_packets_per_second;
    m_channels = format.channels;
    const pa_buffer_attr* granted = pa_stream_get_buffer_attr(m_stream);
    const std::uint32_t bytes = m_flow == AudioFlow::render ? granted->tlength : granted->maxlength;
    m_buffer_frames = bytes / frame_size;
    if (m_flow == AudioFlow::render) {
        m_render_buffer.assign(m_buffer_frames * k_stereo, 0.0F);
    } else {
        m_packet.assign(m_period_frames * k_stereo, 0.0F);
    }
    return k_audio_ok;
}

AudioResult PulseStream::state() const {
    if (m_stream == nullptr) {
        return k_audio_not_initialized;
    }
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(m_context))) {
        return k_audio_server_gone;
    }
    // The server ends a stream whose endpoint has gone unless it has another for it.
    if (pa_stream_get_state(m_stream) != PA_STREAM_READY || m_is_on_monitor) {
        return k_audio_device_gone;
    }
    return k_audio_ok;
}

// On libpulse's thread. When the only microphone goes, a server may move its streams to the monitor
// of the loudspeakers: the others of a conversation would hear themselves.
void PulseStream::watch_move() {
    if (m_flow != AudioFlow::capture) {
        return;
    }
    m_is_on_monitor = false;
    const char* name = pa_stream_get_device_name(m_stream);
    if (name == nullptr || name == m_endpoint) {
        return;
    }
    m_move_query = PulseOperation(pa_context_get_source_info_by_name(
        m_context, name,
        [](pa_context*, const pa_source_info* info, int end, void* data) {
            if (end == 0 && info->monitor_of_sink != PA_INVALID_INDEX) {
                static_cast<PulseStream*>(data)->m_is_on_monitor = true;
            }
        },
        this));
}

AudioResult PulseStream::set_corked(bool corked) {
    struct Answer {
        PulseConnection* connection;
        bool success;
    } answer{m_connection.get(), false};
    const AudioResult result = m_connection->finish(PulseOperation(pa_stream_cork(
                                                        m_stream, corked ? 1 : 0,
                                                        [](pa_stream*, int success, void* data) {
                                                            auto& waiting =
                                                                *static_cast<Answer*>(data);
                                                            waiting.success = success != 0;
                                                            waiting.connection->wake();
                                                        },
                                                        &answer)),
                                                    pulse_deadline());
    if (!audio_ok(result)) {
        return result;
    }
    return answer.success ? k_audio_ok : k_audio_fail;
}

AudioResult PulseStream::start() {
    const ConnectionLock lock(*m_connection);
    AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    if (m_is_started) {
        return k_audio_not_stopped;
    }
    result = set_corked(false);
    m_is_started = audio_ok(result);
    return result;
}

AudioResult PulseStream::stop() {
    const ConnectionLock lock(*m_connection);
    const AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    if (!m_is_started) {
        return k_audio_false;
    }
    m_is_started = false;
    return set_corked(true);
}

AudioResult PulseStream::buffer_size(std::uint32_t& frames) {
    const ConnectionLock lock(*m_connection);
    const AudioResult result = state();
    if (audio_ok(result)) {
        frames = m_buffer_frames;
    }
    return result;
}

// What the server has asked for and not got is the room; the rest of the buffer is queued. A move
// to an endpoint with a longer buffer makes it ask for more: that is filled up pass by pass, while
// the size that the caller knows stays.
AudioResult PulseStream::count_padding(std::uint32_t& frames) const {
    const std::size_t room = pa_stream_writable_size(m_stream);
    if (room == static_cast<std::size_t>(-1)) {
        return k_audio_device_gone;
    }
    const std::size_t room_frames = room / pa_frame_size(pa_stream_get_sample_spec(m_stream));
    frames = static_cast<std::uint32_t>(m_buffer_frames -
                                        std::min<std::size_t>(m_buffer_frames, room_frames));
    return k_audio_ok;
}

AudioResult PulseStream::padding(std::uint32_t& frames) {
    const ConnectionLock lock(*m_connection);
    const AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    if (m_flow == AudioFlow::render) {
        return count_padding(frames);
    }
    frames = packet_size();
    return k_audio_ok;
}

AudioResult PulseStream::latency_us(std::uint32_t& microseconds) {
    const ConnectionLock lock(*m_connection);
    AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    // What the server told last; this question is answered by then next time.
    const pa_timing_info* timing = pa_stream_get_timing_info(m_stream);
    PulseOperation(pa_stream_update_timing_info(m_stream, nullptr, nullptr)).let_run();
    if (timing == nullptr) {
        return k_audio_fail;
    }
    pa_usec_t latency = timing->transport_usec;
    if (m_flow == AudioFlow::render) {
        latency += timing->sink_usec;
    } else {
        const std::size_t waiting = pa_stream_readable_size(m_stream);
        latency += timing->source_usec;
        if (waiting != static_cast<std::size_t>(-1)) {
            latency += pa_bytes_to_usec(waiting, pa_stream_get_sample_spec(m_stream));
        }
    }
    microseconds = static_cast<std::uint32_t>(std::min(latency, pa_usec_t{UINT32_MAX}));
    return k_audio_ok;
}

AudioResult PulseStream::check_service(AudioFlow flow) {
    const ConnectionLock lock(*m_connection);
    const AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    return m_flow == flow ? k_audio_ok : k_audio_wrong_endpoint_type;
}

// Gathers what has arrived: however the server cut it, a packet is 10 ms, as on a device with a
// period, and no packet goes over the network half empty.
AudioResult PulseStream::fill_packet() {
    const std::size_t frame_size = frame_bytes({SampleKind::float32, m_channels});
    while (m_packet_frames < m_period_frames) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(m_stream, &data, &bytes) < 0) {
            return k_audio_device_gone;
        }
        if (bytes == 0) {
            break;
        }
        const auto frames =
            data != nullptr ? static_cast<std::uint32_t>(bytes / frame_size) : 0; // null: a hole
        const std::uint32_t unread = frames - std::min(frames, m_fragment_used);
        const std::uint32_t taken = std::min(unread, m_period_frames - m_packet_frames);
        if (taken > 0) {
            const std::span<const std::byte> fragment(static_cast<const std::byte*>(data), bytes);
            copy_as_stereo({SampleKind::float32, m_channels},
                           fragment.subspan(m_fragment_used * frame_size, taken * frame_size),
                           m_packet.data() + m_packet_frames * k_stereo);
            m_packet_frames += taken;
            m_fragment_used += taken;
        }
        if (m_fragment_used >= frames) {
            pa_stream_drop(m_stream);
            m_fragment_used = 0;
        }
    }
    return k_audio_ok;
}

// The size of the packet that is ready, or out.
std::uint32_t PulseStream::packet_size() const {
    return m_packet_frames == m_period_frames ? m_period_frames : 0;
}

AudioResult PulseStream::next_packet_size(std::uint32_t& frames) {
    const ConnectionLock lock(*m_connection);
    AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    // Nobody hears anything before it is known what the stream was moved to.
    if (!m_is_packet_out && !m_move_query.is_running()) {
        result = fill_packet();
    }
    if (audio_ok(result)) {
        frames = packet_size();
    }
    return result;
}

AudioResult PulseStream::get_capture_buffer(float*& samples, std::uint32_t& frames) {
    const ConnectionLock lock(*m_connection);
    AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    if (m_is_packet_out) {
        return k_audio_out_of_order;
    }
    if (!m_move_query.is_running()) {
        result = fill_packet();
        if (!audio_ok(result)) {
            return result;
        }
    }
    samples = m_packet.data();
    frames = packet_size();
    m_is_packet_out = frames > 0;
    return m_is_packet_out ? k_audio_ok : k_audio_buffer_empty;
}

AudioResult PulseStream::release_capture_buffer(std::uint32_t frames) {
    const ConnectionLock lock(*m_connection);
    if (frames != 0 && !m_is_packet_out) {
        return k_audio_out_of_order;
    }
    if (frames != 0 && frames != m_packet_frames) {
        return k_audio_invalid_size;
    }
    m_is_packet_out = false;
    if (frames != 0) { // else the same packet is the next one again
        m_packet_frames = 0;
    }
    return state();
}

AudioResult PulseStream::get_render_buffer(std::uint32_t frames, float*& samples) {
    const ConnectionLock lock(*m_connection);
    AudioResult result = state();
    if (!audio_ok(result)) {
        return result;
    }
    if (m_is_render_out) {
        return k_audio_out_of_order;
    }
    std::uint32_t queued = 0;
    result = count_padding(queued);
    if (!audio_ok(result)) {
        return result;
    }
    if (frames > m_buffer_frames - queued) {
        return k_audio_buffer_too_large;
    }
    m_render_frames = frames;
    m_is_render_out = true;
    samples = m_render_buffer.data();
    return k_audio_ok;
}

AudioResult PulseStream::release_render_buffer(std::uint32_t frames) {
    const ConnectionLock lock(*m_connection);
    if (frames > 0 && !m_is_render_out) {
        return k_audio_out_of_order;
    }
    if (frames > 0 && frames > m_render_frames) {
        return k_audio_invalid_size;
    }
    m_is_render_out = false;
    const AudioResult result = state();
    if (!audio_ok(result) || frames == 0) {
        return result;
    }
    const std::size_t bytes = frames * k_stereo * sizeof(float);
    // Copies, and leaves the sending to libpulse's thread.
    if (pa_stream_write(m_stream, m_render_buffer.data(), bytes, nullptr, 0, PA_SEEK_RELATIVE) <
        0) {
        return k_audio_device_gone;
    }
    return k_audio_ok;
}
