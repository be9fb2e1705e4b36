// The script and the records of the fake audio seam: see support/fake_audio_endpoint.h.
#include "support/fake_audio_internal.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace fake_audio {

namespace {

constexpr std::chrono::seconds k_patience{10};

void edit(const std::string& id, void (*change)(Endpoint&, std::uint32_t), std::uint32_t value) {
    const Lock lock(machine().mutex);
    if (Endpoint* endpoint = find(id)) {
        change(*endpoint, value);
    }
}

} // namespace

Machine& machine() {
    // Never destroyed: a thread that still hangs may outlive main.
    static Machine& the_machine = *new Machine;
    return the_machine;
}

Script& script(Call call) {
    return machine().scripts[static_cast<std::size_t>(call)];
}

std::size_t side(AudioFlow flow) {
    return static_cast<std::size_t>(flow);
}

Endpoint* find(const std::string& id) {
    auto& endpoints = machine().endpoints;
    const auto found = std::find_if(endpoints.begin(), endpoints.end(),
                                    [&id](const Endpoint& endpoint) { return endpoint.id == id; });
    return found != endpoints.end() ? &*found : nullptr;
}

void complain(std::string text) {
    machine().violations.push_back(std::move(text));
}

AudioResult enter(Lock& lock, Call call, AudioFlow flow) {
    Machine& all = machine();
    Script& own = script(call);
    ++own.made;
    own.threads.insert(std::this_thread::get_id());
    all.changed.notify_all();
    if (own.to_hang > 0) {
        --own.to_hang;
        ++own.hanging;
        all.changed.notify_all();
        all.changed.wait(lock, [&own] { return own.hanging == 0; });
    }
    return own.code[side(flow)].value_or(k_audio_ok);
}

void reset() {
    for (std::size_t call = 0; call < k_calls; ++call) {
        resume(static_cast<Call>(call));
    }
    Machine& all = machine();
    const Lock lock(all.mutex);
    all.endpoints.clear();
    all.defaults[0].clear();
    all.defaults[1].clear();
    all.scripts = {};
    all.calls.clear();
    all.violations.clear();
    all.acquired = 0;
    all.system_users = 0;
}

void add_endpoint(AudioFlow flow, const std::string& id, const std::string& name) {
    Machine& all = machine();
    const Lock lock(all.mutex);
    all.endpoints.push_back({.flow = flow, .id = id, .name = name});
    if (all.defaults[side(flow)].empty()) {
        all.defaults[side(flow)] = id;
    }
}

void remove_endpoint(const std::string& id) {
    const Lock lock(machine().mutex);
    std::erase_if(machine().endpoints,
                  [&id](const Endpoint& endpoint) { return endpoint.id == id; });
}

void set_default(AudioFlow flow, const std::string& id) {
    const Lock lock(machine().mutex);
    machine().defaults[side(flow)] = id;
}

void answer(Call call, AudioResult code, std::optional<AudioFlow> flow) {
    const Lock lock(machine().mutex);
    for (const AudioFlow each : {AudioFlow::render, AudioFlow::capture}) {
        if (flow.value_or(each) == each) {
            script(call).code[side(each)] = code;
        }
    }
}

void heal(Call call) {
    const Lock lock(machine().mutex);
    script(call).code[0].reset();
    script(call).code[1].reset();
}

void hang(Call call) {
    const Lock lock(machine().mutex);
    ++script(call).to_hang;
}

bool wait_until_hanging(Call call) {
    Lock lock(machine().mutex);
    return machine().changed.wait_for(lock, k_patience,
                                      [call] { return script(call).hanging > 0; });
}

void resume(Call call) {
    {
        const Lock lock(machine().mutex);
        script(call).to_hang = 0;
        script(call).hanging = 0;
    }
    machine().changed.notify_all();
}

void push_packet(const std::string& id, std::vector<float> samples) {
    const Lock lock(machine().mutex);
    if (Endpoint* endpoint = find(id)) {
        endpoint->packets.push_back(std::move(samples));
    }
}

void set_tone(const std::string& id, float value, std::uint32_t frames) {
    const Lock lock(machine().mutex);
    if (Endpoint* endpoint = find(id)) {
        endpoint->tone.assign(std::size_t{frames} * 2, value);
    }
}

void set_buffer_frames(const std::string& id, std::uint32_t frames) {
    edit(
        id, [](Endpoint& endpoint, std::uint32_t value) { endpoint.buffer_frames = value; },
        frames);
}

void set_padding(const std::string& id, std::uint32_t frames) {
    edit(
        id, [](Endpoint& endpoint, std::uint32_t value) { endpoint.padding = value; }, frames);
}

void set_latency_us(const std::string& id, std::uint32_t microseconds) {
    edit(
        id, [](Endpoint& endpoint, std::uint32_t value) { endpoint.latency_us = value; },
        microseconds);
}

std::vector<float> rendered(const std::string& id) {
    const Lock lock(machine().mutex);
    const Endpoint* endpoint = find(id);
    return endpoint != nullptr ? endpoint->rendered : std::vector<float>{};
}

std::vector<std::string> calls() {
    const Lock lock(machine().mutex);
    return machine().calls;
}

int count(Call call) {
    const Lock lock(machine().mutex);
    return script(call).made;
}

bool wait_for_count(Call call, int times) {
    Lock lock(machine().mutex);
    return machine().changed.wait_for(lock, k_patience,
                                      [call, times] { return script(call).made >= times; });
}

std::size_t thread_count(Call call) {
    const Lock lock(machine().mutex);
    return script(call).threads.size();
}

int live_handles() {
    const Lock lock(machine().mutex);
    return static_cast<int>(machine().live.size());
}

int acquired_handles() {
    const Lock lock(machine().mutex);
    return machine().acquired;
}

std::vector<std::string> violations() {
    const Lock lock(machine().mutex);
    return machine().violations;
}

} // namespace fake_audio
