// The Linux half of the audio seam, over the PulseAudio interface, which PipeWire serves too.
// Called by the device engine and the device lists.
#include "platform/audio_endpoint.h"

#include "platform/linux/pulse_internal.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

using ConnectionLock = std::lock_guard<PulseConnection>;

struct AudioEnumerator {
    std::shared_ptr<PulseConnection> connection;
};

struct AudioDevice {
    std::shared_ptr<PulseConnection> connection;
    AudioFlow flow;
    std::string name;
    std::string description;
};

struct AudioClient {
    std::shared_ptr<PulseStream> stream;
};

struct AudioCaptureService {
    std::shared_ptr<PulseStream> stream;
};

struct AudioRenderService {
    std::shared_ptr<PulseStream> stream;
};

namespace {

/// The endpoint that the environment names in place of the server's default; empty without one.
std::string endpoint_of_environment(AudioFlow flow) {
    const char* variable = flow == AudioFlow::render ? "PULSE_SINK" : "PULSE_SOURCE";
    const char* name = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nothing sets it
    return name != nullptr ? name : "";
}

/// Finds the endpoint that the environment names; k_audio_not_found also when it names none.
AudioResult find_named(PulseConnection& connection, AudioFlow flow, PulseDeadline deadline,
                       PulseEndpoint& endpoint) {
    const std::string name = endpoint_of_environment(flow);
    return name.empty() ? k_audio_not_found : connection.find(flow, name, deadline, endpoint);
}

AudioResult find_default(PulseConnection& connection, AudioFlow flow, PulseDeadline deadline,
                         PulseEndpoint& endpoint) {
    AudioResult result = find_named(connection, flow, deadline, endpoint);
    if (result != k_audio_not_found) {
        return result;
    }
    std::string name;
    result = connection.server_default(flow, deadline, name);
    if (!audio_ok(result)) {
        return result;
    }
    if (name.empty()) {
        return k_audio_not_found;
    }
    PulseEndpoint found;
    result = connection.find(flow, name, deadline, found);
    if (!audio_ok(result)) {
        return result;
    }
    // Without a microphone a server may offer what the loudspeakers play.
    if (found.is_monitor) {
        return k_audio_not_found;
    }
    endpoint = std::move(found);
    return k_audio_ok;
}

/// The endpoints that a user's list has: no monitors but one that the environment names.
AudioResult list_active(PulseConnection& connection, AudioFlow flow, PulseDeadline deadline,
                        std::vector<PulseEndpoint>& endpoints) {
    PulseEndpoint named;
    if (flow == AudioFlow::capture) {
        const AudioResult result = find_named(connection, flow, deadline, named);
        if (!audio_ok(result) && result != k_audio_not_found) {
            return result;
        }
    }
    const AudioResult result = connection.list(flow, deadline, endpoints);
    if (audio_ok(result)) {
        std::erase_if(endpoints, [&](const PulseEndpoint& endpoint) {
            return endpoint.is_monitor && endpoint.name != named.name;
        });
    }
    return result;
}

AudioPtr<AudioDevice> make_device(const AudioEnumerator& enumerator, AudioFlow flow,
                                  PulseEndpoint&& endpoint) {
    return AudioPtr<AudioDevice>(new AudioDevice{
        enumerator.connection, flow, std::move(endpoint.name), std::move(endpoint.description)});
}

} // namespace

void AudioRelease::operator()(AudioEnumerator* enumerator) const {
    delete enumerator;
}

void AudioRelease::operator()(AudioDevice* device) const {
    delete device;
}

void AudioRelease::operator()(AudioClient* client) const {
    delete client;
}

void AudioRelease::operator()(AudioCaptureService* service) const {
    delete service;
}

void AudioRelease::operator()(AudioRenderService* service) const {
    delete service;
}

// Nothing to set up per thread here.
AudioResult audio_system_init() {
    return k_audio_ok;
}

void audio_system_uninit() {}

// Succeeds without a server, too: each later call looks for one, so that the program need not be
// restarted when the server is started after it.
AudioResult audio_enumerator_create(AudioPtr<AudioEnumerator>& enumerator) {
    std::shared_ptr<PulseConnection> connection = PulseConnection::create();
    if (!connection) {
        return k_audio_fail;
    }
    enumerator.reset(new AudioEnumerator{std::move(connection)});
    return k_audio_ok;
}

AudioResult audio_default_device(AudioEnumerator& enumerator, AudioFlow flow,
                                 AudioPtr<AudioDevice>& device) {
    PulseEndpoint endpoint;
    {
        const ConnectionLock lock(*enumerator.connection);
        const AudioResult result =
            find_default(*enumerator.connection, flow, pulse_deadline(), endpoint);
        if (!audio_ok(result)) {
            return result;
        }
    }
    // Outside the lock, because a device that is replaced may hold the last use of a connection.
    device = make_device(enumerator, flow, std::move(endpoint));
    return k_audio_ok;
}

AudioResult audio_active_count(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t& count) {
    std::vector<PulseEndpoint> endpoints;
    const ConnectionLock lock(*enumerator.connection);
    const AudioResult result =
        list_active(*enumerator.connection, flow, pulse_deadline(), endpoints);
    if (audio_ok(result)) {
        count = static_cast<std::int32_t>(endpoints.size());
    }
    return result;
}

AudioResult audio_active_ids(AudioEnumerator& enumerator, AudioFlow flow,
                             std::vector<std::string>& ids) {
    std::vector<PulseEndpoint> endpoints;
    const ConnectionLock lock(*enumerator.connection);
    const AudioResult result =
        list_active(*enumerator.connection, flow, pulse_deadline(), endpoints);
    if (audio_ok(result)) {
        ids.clear();
        for (PulseEndpoint& endpoint : endpoints) {
            ids.push_back(std::move(endpoint.name));
        }
    }
    return result;
}

AudioResult audio_active_device(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t index,
                                AudioPtr<AudioDevice>& device) {
    std::vector<PulseEndpoint> endpoints;
    {
        const ConnectionLock lock(*enumerator.connection);
        const AudioResult result =
            list_active(*enumerator.connection, flow, pulse_deadline(), endpoints);
        if (!audio_ok(result)) {
            return result;
        }
    }
    if (index < 0 || static_cast<std::size_t>(index) >= endpoints.size()) {
        return k_audio_not_found;
    }
    device = make_device(enumerator, flow, std::move(endpoints[static_cast<std::size_t>(index)]));
    return k_audio_ok;
}

AudioResult audio_device_id(AudioDevice& device, std::string& id) {
    id = device.name;
    return k_audio_ok;
}

AudioResult audio_device_friendly_name(AudioDevice& device, std::string& name) {
    name = device.description;
    return k_audio_ok;
}

AudioResult audio_device_activate(AudioDevice& device, AudioPtr<AudioClient>& client) {
    {
        PulseEndpoint endpoint;
        const ConnectionLock lock(*device.connection);
        const AudioResult result =
            device.connection->find(device.flow, device.name, pulse_deadline(), endpoint);
        if (!audio_ok(result)) {
            return result == k_audio_not_found ? k_audio_device_gone : result;
        }
    }
    client.reset(new AudioClient{
        std::make_shared<PulseStream>(device.connection, device.flow, device.name)});
    return k_audio_ok;
}

AudioResult audio_client_initialize(AudioClient& client, const AudioFormat& format,
                                    std::uint32_t buffer_ms) {
    return client.stream->initialize(format, buffer_ms);
}

AudioResult audio_client_initialize_mix_format(AudioClient& client, std::uint32_t buffer_ms) {
    return client.stream->initialize_mix_format(buffer_ms);
}

AudioResult audio_client_start(AudioClient& client) {
    return client.stream->start();
}

AudioResult audio_client_stop(AudioClient& client) {
    return client.stream->stop();
}

AudioResult audio_client_buffer_size(AudioClient& client, std::uint32_t& frames) {
    return client.stream->buffer_size(frames);
}

AudioResult audio_client_padding(AudioClient& client, std::uint32_t& frames) {
    return client.stream->padding(frames);
}

AudioResult audio_client_latency_us(AudioClient& client, std::uint32_t& microseconds) {
    return client.stream->latency_us(microseconds);
}

AudioResult audio_client_capture_service(AudioClient& client,
                                         AudioPtr<AudioCaptureService>& service) {
    const AudioResult result = client.stream->check_service(AudioFlow::capture);
    if (audio_ok(result)) {
        service.reset(new AudioCaptureService{client.stream});
    }
    return result;
}

AudioResult audio_client_render_service(AudioClient& client,
                                        AudioPtr<AudioRenderService>& service) {
    const AudioResult result = client.stream->check_service(AudioFlow::render);
    if (audio_ok(result)) {
        service.reset(new AudioRenderService{client.stream});
    }
    return result;
}

AudioResult audio_capture_next_packet_size(AudioCaptureService& service, std::uint32_t& frames) {
    return service.stream->next_packet_size(frames);
}

AudioResult audio_capture_get_buffer(AudioCaptureService& service, float*& samples,
                                     std::uint32_t& frames) {
    return service.stream->get_capture_buffer(samples, frames);
}

AudioResult audio_capture_release_buffer(AudioCaptureService& service, std::uint32_t frames) {
    return service.stream->release_capture_buffer(frames);
}

AudioResult audio_render_get_buffer(AudioRenderService& service, std::uint32_t frames,
                                    float*& samples) {
    return service.stream->get_render_buffer(frames, samples);
}

AudioResult audio_render_release_buffer(AudioRenderService& service, std::uint32_t frames) {
    return service.stream->release_render_buffer(frames);
}
