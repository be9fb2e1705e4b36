// See audio/audio_devices.h.
#include "audio/audio_devices.h"

#include "audio/audio_engine_internal.h"
#include "base/text.h"
#include "core/debug_log.h"

#include <algorithm>
#include <string>
#include <vector>

using namespace audio_engine;

namespace {

std::int32_t device_count(AudioFlow flow) {
    std::int32_t count = 0;
    if (!g_pEnumerator || !audio_ok(audio_active_count(*g_pEnumerator, flow, count))) {
        return 0;
    }
    return count;
}

std::int32_t GetDeviceInfoInternal(AudioFlow flow, std::int32_t index, AudioDeviceInfo* info) {
    if (!g_pEnumerator || info == nullptr) {
        return 0;
    }
    AudioPtr<AudioDevice> device;
    std::string name;
    if (!audio_ok(audio_active_device(*g_pEnumerator, flow, index, device)) ||
        !audio_ok(audio_device_friendly_name(*device, name))) {
        return 0;
    }
    info->index = index;
    copy_text(info->name, name);
    info->reserved1 = 0;
    info->reserved2 = 0;
    info->sampleRate = 48000.0;
    return 1;
}

/// The identifier of the default endpoint; empty when there is none.
std::string default_device_id(AudioFlow flow) {
    AudioPtr<AudioDevice> device;
    std::string id;
    if (audio_ok(audio_default_device(*g_pEnumerator, flow, device))) {
        audio_device_id(*device, id);
    }
    return id;
}

std::int32_t GetDefaultDeviceIndexInternal(AudioFlow flow) {
    if (!g_pEnumerator) {
        return -1;
    }
    const std::string default_id = default_device_id(flow);
    std::vector<std::string> ids;
    if (!audio_ok(audio_active_ids(*g_pEnumerator, flow, ids)) || ids.empty()) {
        return -1;
    }
    const auto found = std::ranges::find(ids, default_id);
    // Some endpoint is always proposed.
    if (default_id.empty() || found == ids.end()) {
        return 0;
    }
    return static_cast<std::int32_t>(found - ids.begin());
}

/// Gives one direction the endpoint at `index`, or none. Returns whether it has one now.
bool choose_device(AudioFlow flow, std::int32_t index, AudioPtr<AudioDevice>& device) {
    device.reset();
    const bool changed = audio_ok(audio_active_device(*g_pEnumerator, flow, index, device));
    DebugLog("Set %s device index: %d (changed=%s)",
             flow == AudioFlow::capture ? "input" : "output", index, changed ? "YES" : "NO");
    return changed;
}

AudioResult ask_service() {
    AudioPtr<AudioEnumerator> enumerator;
    std::int32_t count = 0;
    const AudioResult result = audio_enumerator_create(enumerator);
    return audio_ok(result) ? audio_active_count(*enumerator, AudioFlow::capture, count) : result;
}

} // namespace

std::int32_t Audio_IsServiceMissing() {
    // Not the engine's enumerator, which may not be there yet, or only because of this.
    const AudioResult began = audio_system_init();
    const AudioResult result = ask_service();
    if (audio_ok(began)) {
        audio_system_uninit();
    }
    return result == k_audio_server_gone ? 1 : 0;
}

std::int32_t Audio_GetInputDeviceCount() {
    return device_count(AudioFlow::capture);
}

std::int32_t Audio_GetOutputDeviceCount() {
    return device_count(AudioFlow::render);
}

std::int32_t Audio_GetInputDeviceInfo(std::int32_t index, AudioDeviceInfo* info) {
    return GetDeviceInfoInternal(AudioFlow::capture, index, info);
}

std::int32_t Audio_GetOutputDeviceInfo(std::int32_t index, AudioDeviceInfo* info) {
    return GetDeviceInfoInternal(AudioFlow::render, index, info);
}

std::int32_t Audio_GetDefaultInputDevice() {
    return GetDefaultDeviceIndexInternal(AudioFlow::capture);
}

std::int32_t Audio_GetDefaultOutputDevice() {
    return GetDefaultDeviceIndexInternal(AudioFlow::render);
}

void Audio_SetInputDevice(std::int32_t index) {
    const std::lock_guard control(g_control);
    if (!g_pEnumerator) {
        return;
    }
    const bool was_running = Audio_IsRunning() != 0;
    stop_locked();
    release_input_client();
    const bool has_input = choose_device(AudioFlow::capture, index, g_pInputDevice);
    if (was_running && has_input) {
        start_locked();
    }
}

void Audio_SetOutputDevice(std::int32_t index) {
    const std::lock_guard control(g_control);
    if (!g_pEnumerator) {
        return;
    }
    const bool was_running = Audio_IsRunning() != 0;
    stop_locked();
    release_output_client();
    const bool has_output = choose_device(AudioFlow::render, index, g_pOutputDevice);
    // Capture goes on without an output; an output alone starts nothing, which the start decides.
    if (was_running && (g_pInputDevice || has_output)) {
        start_locked();
    }
}
