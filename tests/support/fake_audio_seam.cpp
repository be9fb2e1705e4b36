// The functions of platform/audio_endpoint.h on the fake machine: see
// support/fake_audio_endpoint.h.
#include "support/fake_audio_internal.h"

#include <algorithm>
#include <utility>

using namespace fake_audio;

namespace {

constexpr std::uint32_t k_announced_frames = 480;

const char* side_name(AudioFlow flow) {
    return flow == AudioFlow::capture ? "capture" : "render";
}

/// False, with a complaint, when `handle` is not to be touched any more.
bool usable(const void* handle, const char* call) {
    if (machine().live.contains(handle)) {
        return true;
    }
    complain(std::string(call) + " on a freed handle");
    return false;
}

template <typename Handle>
void hand_out(AudioPtr<Handle>& out, Handle* handle) {
    machine().live.insert(handle);
    ++machine().acquired;
    AudioPtr<Handle> fresh(handle);
    out.swap(fresh);
    // Freed by hand: its deleter takes the lock that the caller holds.
    if (fresh) {
        machine().live.erase(fresh.get());
        machine().calls.emplace_back("release replaced handle");
        delete fresh.release();
    }
}

template <typename Handle>
void free_handle(Handle* handle, const std::string& text) {
    Machine& all = machine();
    Lock lock(all.mutex);
    enter(lock, Call::release);
    if (all.live.erase(handle) == 0) {
        complain(text + " twice");
        return;
    }
    if (all.system_users == 0) {
        complain(text + " after the system's end");
    }
    all.calls.push_back(text);
    delete handle;
}

/// The endpoint of a stream that can work, else the reason in `result`.
Endpoint* working(const Stream& stream, AudioResult& result) {
    if (!audio_ok(result)) {
        return nullptr;
    }
    Endpoint* endpoint = find(stream.id);
    if (endpoint == nullptr) {
        result = k_audio_device_gone;
    } else if (!stream.initialized) {
        result = k_audio_not_initialized;
        endpoint = nullptr;
    }
    return endpoint;
}

AudioResult initialize(AudioClient& client, Call call, const std::string& text) {
    Lock lock(machine().mutex);
    if (!usable(&client, "initialize")) {
        return k_audio_fail;
    }
    Stream& stream = *client.stream;
    const AudioResult result = enter(lock, call, stream.flow);
    machine().calls.push_back(text + stream.id);
    if (stream.initialized) {
        complain("initialize twice " + stream.id);
    }
    if (!audio_ok(result)) {
        return result;
    }
    if (find(stream.id) == nullptr) {
        return k_audio_device_gone;
    }
    stream.initialized = true;
    return result;
}

} // namespace

void AudioRelease::operator()(AudioEnumerator* enumerator) const {
    free_handle(enumerator, "release enumerator");
}

void AudioRelease::operator()(AudioDevice* device) const {
    free_handle(device, "release device " + device->id);
}

void AudioRelease::operator()(AudioClient* client) const {
    free_handle(client, "release client " + client->stream->id);
}

void AudioRelease::operator()(AudioCaptureService* service) const {
    free_handle(service, "release capture service " + service->stream->id);
}

void AudioRelease::operator()(AudioRenderService* service) const {
    free_handle(service, "release render service " + service->stream->id);
}

AudioResult audio_system_init() {
    Lock lock(machine().mutex);
    const AudioResult result = enter(lock, Call::system_init);
    machine().calls.emplace_back("system init");
    // A thread that is set up in another mode has a working system as well.
    if (audio_ok(result) || result == k_audio_changed_mode) {
        ++machine().system_users;
    }
    return result;
}

void audio_system_uninit() {
    Lock lock(machine().mutex);
    enter(lock, Call::system_uninit);
    machine().calls.emplace_back("system uninit");
    if (machine().system_users == 0) {
        complain("system ended without a start");
        return;
    }
    --machine().system_users;
    if (machine().system_users == 0 && !machine().live.empty()) {
        complain("system ended under live handles");
    }
}

AudioResult audio_enumerator_create(AudioPtr<AudioEnumerator>& enumerator) {
    Lock lock(machine().mutex);
    const AudioResult result = enter(lock, Call::enumerator_create);
    machine().calls.emplace_back("create enumerator");
    if (machine().system_users == 0) {
        complain("enumerator created before the system's start");
    }
    if (audio_ok(result)) {
        hand_out(enumerator, new AudioEnumerator);
    }
    return result;
}

AudioResult audio_default_device(AudioEnumerator& enumerator, AudioFlow flow,
                                 AudioPtr<AudioDevice>& device) {
    Lock lock(machine().mutex);
    if (!usable(&enumerator, "default device")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::default_device, flow);
    machine().calls.push_back(std::string("default ") + side_name(flow));
    if (!audio_ok(result)) {
        return result;
    }
    const std::string& id = machine().defaults[side(flow)];
    if (id.empty()) {
        return k_audio_not_found;
    }
    hand_out(device, new AudioDevice{id, flow});
    return result;
}

AudioResult audio_active_count(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t& count) {
    Lock lock(machine().mutex);
    if (!usable(&enumerator, "count")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::active_count, flow);
    if (audio_ok(result)) {
        count = static_cast<std::int32_t>(
            std::ranges::count(machine().endpoints, flow, &Endpoint::flow));
    }
    return result;
}

AudioResult audio_active_ids(AudioEnumerator& enumerator, AudioFlow flow,
                             std::vector<std::string>& ids) {
    Lock lock(machine().mutex);
    if (!usable(&enumerator, "active ids")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::active_ids, flow);
    if (!audio_ok(result)) {
        return result;
    }
    ids.clear();
    for (const Endpoint& endpoint : machine().endpoints) {
        if (endpoint.flow == flow) {
            ids.push_back(endpoint.id);
        }
    }
    return result;
}

AudioResult audio_active_device(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t index,
                                AudioPtr<AudioDevice>& device) {
    Lock lock(machine().mutex);
    if (!usable(&enumerator, "active device")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::active_device, flow);
    if (!audio_ok(result)) {
        return result;
    }
    std::int32_t position = 0;
    for (const Endpoint& endpoint : machine().endpoints) {
        if (endpoint.flow == flow && position++ == index) {
            hand_out(device, new AudioDevice{endpoint.id, flow});
            return result;
        }
    }
    return k_audio_not_found;
}

AudioResult audio_device_id(AudioDevice& device, std::string& id) {
    Lock lock(machine().mutex);
    if (!usable(&device, "device id")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::device_id, device.flow);
    if (audio_ok(result)) {
        id = device.id;
    }
    return result;
}

AudioResult audio_device_friendly_name(AudioDevice& device, std::string& name) {
    Lock lock(machine().mutex);
    if (!usable(&device, "friendly name")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::friendly_name, device.flow);
    if (!audio_ok(result)) {
        return result;
    }
    const Endpoint* endpoint = find(device.id);
    if (endpoint == nullptr) {
        return k_audio_device_gone;
    }
    name = endpoint->name;
    return result;
}

AudioResult audio_device_activate(AudioDevice& device, AudioPtr<AudioClient>& client) {
    Lock lock(machine().mutex);
    if (!usable(&device, "activate")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::activate, device.flow);
    machine().calls.push_back("activate " + device.id);
    if (!audio_ok(result)) {
        return result;
    }
    if (find(device.id) == nullptr) {
        return k_audio_device_gone;
    }
    hand_out(client, new AudioClient{
                         std::make_shared<Stream>(Stream{.id = device.id, .flow = device.flow})});
    return result;
}

AudioResult audio_client_initialize(AudioClient& client, const AudioFormat& format,
                                    std::uint32_t buffer_ms) {
    return initialize(client, Call::initialize,
                      "initialize " + std::to_string(format.channels) + "x" +
                          std::to_string(format.samples_per_second) + " " +
                          std::to_string(buffer_ms) + " ms ");
}

AudioResult audio_client_initialize_mix_format(AudioClient& client, std::uint32_t buffer_ms) {
    return initialize(client, Call::initialize_mix_format,
                      "initialize mix format " + std::to_string(buffer_ms) + " ms ");
}

AudioResult audio_client_start(AudioClient& client) {
    Lock lock(machine().mutex);
    if (!usable(&client, "start")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::start, client.stream->flow);
    machine().calls.push_back("start " + client.stream->id);
    if (working(*client.stream, result) != nullptr) {
        if (client.stream->started) {
            complain("start twice " + client.stream->id);
        }
        client.stream->started = true;
    }
    return result;
}

AudioResult audio_client_stop(AudioClient& client) {
    Lock lock(machine().mutex);
    if (!usable(&client, "stop")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::stop, client.stream->flow);
    machine().calls.push_back("stop " + client.stream->id);
    if (working(*client.stream, result) != nullptr) {
        client.stream->started = false;
    }
    return result;
}

AudioResult audio_client_buffer_size(AudioClient& client, std::uint32_t& frames) {
    Lock lock(machine().mutex);
    if (!usable(&client, "buffer size")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::buffer_size, client.stream->flow);
    if (const Endpoint* endpoint = working(*client.stream, result)) {
        frames = endpoint->buffer_frames;
    }
    return result;
}

AudioResult audio_client_padding(AudioClient& client, std::uint32_t& frames) {
    Lock lock(machine().mutex);
    if (!usable(&client, "padding")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::padding, client.stream->flow);
    if (const Endpoint* endpoint = working(*client.stream, result)) {
        frames = endpoint->padding;
        client.stream->told_padding = frames;
    }
    return result;
}

AudioResult audio_client_latency_us(AudioClient& client, std::uint32_t& microseconds) {
    Lock lock(machine().mutex);
    if (!usable(&client, "latency")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::latency, client.stream->flow);
    if (const Endpoint* endpoint = working(*client.stream, result)) {
        microseconds = endpoint->latency_us;
    }
    return result;
}

AudioResult audio_client_capture_service(AudioClient& client,
                                         AudioPtr<AudioCaptureService>& service) {
    Lock lock(machine().mutex);
    if (!usable(&client, "capture service")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::capture_service, client.stream->flow);
    machine().calls.push_back("capture service " + client.stream->id);
    if (working(*client.stream, result) != nullptr) {
        hand_out(service, new AudioCaptureService{.stream = client.stream});
    }
    return result;
}

AudioResult audio_client_render_service(AudioClient& client,
                                        AudioPtr<AudioRenderService>& service) {
    Lock lock(machine().mutex);
    if (!usable(&client, "render service")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::render_service, client.stream->flow);
    machine().calls.push_back("render service " + client.stream->id);
    if (working(*client.stream, result) != nullptr) {
        hand_out(service, new AudioRenderService{.stream = client.stream});
    }
    return result;
}

AudioResult audio_capture_next_packet_size(AudioCaptureService& service, std::uint32_t& frames) {
    Lock lock(machine().mutex);
    if (!usable(&service, "next packet size")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::next_packet_size);
    Endpoint* endpoint = working(*service.stream, result);
    if (endpoint == nullptr) {
        return result;
    }
    frames = 0;
    if (!service.stream->started) {
        return result;
    }
    if (endpoint->packets.empty() && !endpoint->tone.empty()) {
        // Every second question finds none, which ends the look.
        service.tone_given = !service.tone_given;
        if (service.tone_given) {
            endpoint->packets.push_back(endpoint->tone);
        }
    }
    if (!endpoint->packets.empty()) {
        const std::size_t samples = endpoint->packets.front().size();
        frames = samples > 0 ? static_cast<std::uint32_t>(samples / 2) : k_announced_frames;
    }
    return result;
}

AudioResult audio_capture_get_buffer(AudioCaptureService& service, float*& samples,
                                     std::uint32_t& frames) {
    Lock lock(machine().mutex);
    if (!usable(&service, "get capture buffer")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::capture_get_buffer);
    Endpoint* endpoint = working(*service.stream, result);
    if (endpoint == nullptr) {
        return result;
    }
    if (service.taken) {
        complain("capture buffer taken twice");
    }
    service.taken = true;
    service.packet.clear();
    if (!endpoint->packets.empty()) {
        service.packet = std::move(endpoint->packets.front());
        endpoint->packets.pop_front();
    }
    samples = service.packet.data();
    frames = static_cast<std::uint32_t>(service.packet.size() / 2);
    return result;
}

AudioResult audio_capture_release_buffer(AudioCaptureService& service, std::uint32_t frames) {
    Lock lock(machine().mutex);
    if (!usable(&service, "release capture buffer")) {
        return k_audio_fail;
    }
    const AudioResult result = enter(lock, Call::capture_release_buffer);
    if (!service.taken || frames != service.packet.size() / 2) {
        complain("capture buffer not given back as got");
    }
    service.taken = false;
    return result;
}

AudioResult audio_render_get_buffer(AudioRenderService& service, std::uint32_t frames,
                                    float*& samples) {
    Lock lock(machine().mutex);
    if (!usable(&service, "get render buffer")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::render_get_buffer, AudioFlow::render);
    const Endpoint* endpoint = working(*service.stream, result);
    if (endpoint == nullptr) {
        return result;
    }
    if (service.taken) {
        complain("render buffer taken twice");
    }
    if (frames == 0 || service.stream->told_padding + frames > endpoint->buffer_frames) {
        complain("render buffer of " + std::to_string(frames) + " frames");
    }
    service.taken = true;
    service.buffer.assign(std::size_t{frames} * 2, k_unwritten);
    samples = service.buffer.data();
    return result;
}

AudioResult audio_render_release_buffer(AudioRenderService& service, std::uint32_t frames) {
    Lock lock(machine().mutex);
    if (!usable(&service, "release render buffer")) {
        return k_audio_fail;
    }
    AudioResult result = enter(lock, Call::render_release_buffer, AudioFlow::render);
    if (!service.taken || frames != service.buffer.size() / 2) {
        complain("render buffer not given back as got");
    }
    service.taken = false;
    if (Endpoint* endpoint = working(*service.stream, result)) {
        endpoint->rendered.insert(endpoint->rendered.end(), service.buffer.begin(),
                                  service.buffer.end());
    }
    return result;
}
