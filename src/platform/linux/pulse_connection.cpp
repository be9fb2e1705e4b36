// The connection to the sound server behind the audio endpoints: libpulse's thread, connecting when
// needed, waiting with a limit, and asking for endpoints. Called by audio_endpoint.cpp and the
// streams.
#include "platform/linux/pulse_internal.h"

#include <pulse/def.h>
#include <pulse/error.h>
#include <pulse/rtclock.h>

namespace {

constexpr const char* k_application_name = "Velmo";

template <typename Info>
PulseEndpoint to_endpoint(const Info& info, bool is_monitor) {
    PulseEndpoint endpoint;
    endpoint.name = info.name != nullptr ? info.name : "";
    endpoint.description = info.description != nullptr ? info.description : endpoint.name;
    endpoint.is_monitor = is_monitor;
    endpoint.format = info.sample_spec;
    endpoint.channels = info.channel_map;
    return endpoint;
}

/// What a list of endpoints is collected into, on libpulse's thread, while its asker waits.
struct Listing {
    PulseConnection* connection;
    std::vector<PulseEndpoint> endpoints;
};

void on_sink(pa_context*, const pa_sink_info* info, int end, void* data) {
    auto& listing = *static_cast<Listing*>(data);
    if (end != 0) {
        listing.connection->wake();
        return;
    }
    listing.endpoints.push_back(to_endpoint(*info, false));
}

void on_source(pa_context*, const pa_source_info* info, int end, void* data) {
    auto& listing = *static_cast<Listing*>(data);
    if (end != 0) {
        listing.connection->wake();
        return;
    }
    listing.endpoints.push_back(to_endpoint(*info, info->monitor_of_sink != PA_INVALID_INDEX));
}

struct ServerDefaults {
    PulseConnection* connection;
    std::string sink;
    std::string source;
};

void on_server(pa_context*, const pa_server_info* info, void* data) {
    auto& defaults = *static_cast<ServerDefaults*>(data);
    if (info != nullptr) {
        defaults.sink = info->default_sink_name != nullptr ? info->default_sink_name : "";
        defaults.source = info->default_source_name != nullptr ? info->default_source_name : "";
    }
    defaults.connection->wake();
}

} // namespace

PulseDeadline pulse_deadline() {
    return pa_rtclock_now() + k_server_wait_us;
}

PulseOperation::~PulseOperation() {
    if (m_operation != nullptr) {
        if (is_running()) {
            pa_operation_cancel(m_operation);
        }
        pa_operation_unref(m_operation);
    }
}

void PulseOperation::let_run() {
    if (m_operation != nullptr) {
        pa_operation_unref(std::exchange(m_operation, nullptr));
    }
}

bool PulseOperation::is_running() const {
    return m_operation != nullptr && pa_operation_get_state(m_operation) == PA_OPERATION_RUNNING;
}

bool PulseOperation::is_done() const {
    return m_operation != nullptr && pa_operation_get_state(m_operation) == PA_OPERATION_DONE;
}

PulseConnection::Alarm::Alarm(PulseConnection& connection, PulseDeadline when)
    : m_connection(connection),
      m_event(pa_context_rttime_new(
          connection.m_context, when,
          [](pa_mainloop_api*, pa_time_event*, const timeval*, void* data) {
              auto& alarm = *static_cast<Alarm*>(data);
              alarm.m_has_rung = true;
              alarm.m_connection.wake();
          },
          this)),
      // Without a timer there must be no wait.
      m_has_rung(m_event == nullptr) {}

PulseConnection::Alarm::~Alarm() {
    if (m_event != nullptr) {
        pa_threaded_mainloop_get_api(m_connection.m_loop)->time_free(m_event);
    }
}

std::shared_ptr<PulseConnection> PulseConnection::create() {
    pa_threaded_mainloop* loop = pa_threaded_mainloop_new();
    if (loop == nullptr) {
        return nullptr;
    }
    if (pa_threaded_mainloop_start(loop) < 0) {
        pa_threaded_mainloop_free(loop);
        return nullptr;
    }
    pa_threaded_mainloop_set_name(loop, "audio-server");
    return std::shared_ptr<PulseConnection>(new PulseConnection(loop));
}

PulseConnection::~PulseConnection() {
    lock();
    drop_context();
    unlock();
    // Ends and joins the thread, which must find the lock free.
    pa_threaded_mainloop_stop(m_loop);
    pa_threaded_mainloop_free(m_loop);
}

void PulseConnection::lock() {
    pa_threaded_mainloop_lock(m_loop);
}

void PulseConnection::unlock() {
    pa_threaded_mainloop_unlock(m_loop);
}

void PulseConnection::wake() {
    pa_threaded_mainloop_signal(m_loop, 0);
}

void PulseConnection::wait() {
    pa_threaded_mainloop_wait(m_loop);
}

bool PulseConnection::is_good() const {
    return m_context != nullptr && PA_CONTEXT_IS_GOOD(pa_context_get_state(m_context));
}

void PulseConnection::drop_context() {
    if (m_context == nullptr) {
        return;
    }
    // Streams of this connection keep their own reference to it and find themselves ended.
    pa_context_set_state_callback(m_context, nullptr, nullptr);
    pa_context_disconnect(m_context);
    pa_context_unref(m_context);
    m_context = nullptr;
    wake();
}

void PulseConnection::give_up() {
    drop_context();
    m_rest_until = pa_rtclock_now() + k_server_rest_us;
}

AudioResult PulseConnection::connect(PulseDeadline deadline) {
    if (!is_good()) {
        if (pa_rtclock_now() < m_rest_until) {
            return k_audio_server_gone;
        }
        drop_context();
        m_context = pa_context_new(pa_threaded_mainloop_get_api(m_loop), k_application_name);
        if (m_context == nullptr) {
            return k_audio_fail;
        }
        pa_context_set_state_callback(
            m_context, [](pa_context*, void* data) { static_cast<PulseConnection*>(data)->wake(); },
            this);
        // A server that is not there stays so: starting one is the desktop's business.
        if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
            drop_context();
            return k_audio_server_gone;
        }
    }
    const bool in_time = wait_until(deadline, [this] {
        return !is_good() || pa_context_get_state(m_context) == PA_CONTEXT_READY;
    });
    return in_time && is_good() ? k_audio_ok : k_audio_server_gone;
}

AudioResult PulseConnection::finish(PulseOperation operation, PulseDeadline deadline) {
    if (!operation) {
        return last_error();
    }
    // The server's end cancels what is under way.
    if (!wait_until(deadline, [&] { return !operation.is_running(); })) {
        return k_audio_server_gone;
    }
    return operation.is_done() ? k_audio_ok : k_audio_server_gone;
}

AudioResult PulseConnection::last_error() const {
    if (!is_good()) {
        return k_audio_server_gone;
    }
    switch (pa_context_errno(m_context)) {
    case PA_ERR_NOENTITY:
    case PA_ERR_KILLED:
        return k_audio_device_gone;
    case PA_ERR_NOTSUPPORTED:
    case PA_ERR_INVALID:
        return k_audio_unsupported_format;
    case PA_ERR_CONNECTIONTERMINATED:
    case PA_ERR_CONNECTIONREFUSED:
        return k_audio_server_gone;
    default:
        return k_audio_fail;
    }
}

AudioResult PulseConnection::list(AudioFlow flow, PulseDeadline deadline,
                                  std::vector<PulseEndpoint>& endpoints) {
    AudioResult result = connect(deadline);
    if (!audio_ok(result)) {
        return result;
    }
    Listing listing{this, {}};
    result = finish(
        PulseOperation(flow == AudioFlow::render
                           ? pa_context_get_sink_info_list(m_context, on_sink, &listing)
                           : pa_context_get_source_info_list(m_context, on_source, &listing)),
        deadline);
    if (audio_ok(result)) {
        endpoints = std::move(listing.endpoints);
    }
    return result;
}

AudioResult PulseConnection::find(AudioFlow flow, const std::string& name, PulseDeadline deadline,
                                  PulseEndpoint& endpoint) {
    AudioResult result = connect(deadline);
    if (!audio_ok(result)) {
        return result;
    }
    Listing listing{this, {}};
    const char* key = name.c_str();
    result =
        finish(PulseOperation(
                   flow == AudioFlow::render
                       ? pa_context_get_sink_info_by_name(m_context, key, on_sink, &listing)
                       : pa_context_get_source_info_by_name(m_context, key, on_source, &listing)),
               deadline);
    if (!audio_ok(result)) {
        return result;
    }
    if (listing.endpoints.empty()) {
        return k_audio_not_found;
    }
    endpoint = std::move(listing.endpoints.front());
    return k_audio_ok;
}

AudioResult PulseConnection::server_default(AudioFlow flow, PulseDeadline deadline,
                                            std::string& name) {
    AudioResult result = connect(deadline);
    if (!audio_ok(result)) {
        return result;
    }
    ServerDefaults defaults{this, {}, {}};
    result = finish(PulseOperation(pa_context_get_server_info(m_context, on_server, &defaults)),
                    deadline);
    if (audio_ok(result)) {
        name = flow == AudioFlow::render ? std::move(defaults.sink) : std::move(defaults.source);
    }
    return result;
}
