// Starts and stops the audio device engine: sets the system up, opens the streams of the chosen
// endpoints and runs the two threads. See audio/audio_engine.h for the callers.
#include "audio/audio_engine.h"

#include "audio/audio_engine_internal.h"
#include "core/debug_log.h"

#include <utility>

namespace audio_engine {

std::mutex g_control;
AudioPtr<AudioEnumerator> g_pEnumerator;
AudioPtr<AudioDevice> g_pInputDevice;
AudioPtr<AudioDevice> g_pOutputDevice;
std::shared_ptr<AudioClient> g_pInputClient;
std::shared_ptr<AudioClient> g_pOutputClient;
std::shared_ptr<AudioCaptureService> g_pCaptureClient;
std::shared_ptr<AudioRenderService> g_pRenderClient;
std::atomic<bool> g_hasRenderClient{false};
Worker g_hCaptureThread;
Worker g_hRenderThread;
std::atomic<std::int32_t> g_isRunning{0};
std::atomic<bool> g_loopbackEnabled{false};
std::atomic<bool> g_isMuted{false};
std::atomic<AudioInputCallback> g_inputCallback{nullptr};
std::atomic<AudioLevelCallback> g_levelCallback{nullptr};
std::atomic<float> g_inputGain{1.0F};
std::atomic<float> g_outputVolume{1.0F};

namespace {

/// True while a successful audio_system_init waits for its counterpart. With g_control held.
bool g_systemReady = false;

/// Thread bodies that still own handles; more than the two workers after a thread hung.
std::atomic<int> g_bodies{0};

/// Counts one body's hold on the audio system; a body's first member, hence its last to go.
struct SystemUse {
    SystemUse() { g_bodies.fetch_add(1, std::memory_order_relaxed); }
    SystemUse(const SystemUse&) : SystemUse() {}
    SystemUse& operator=(const SystemUse&) = delete;
    ~SystemUse() { g_bodies.fetch_sub(1, std::memory_order_release); }
};

struct CaptureBody {
    SystemUse use;
    std::shared_ptr<AudioClient> client;
    std::shared_ptr<AudioCaptureService> service;

    void operator()(const StopEvent& stop) const {
        while (!stop.wait_ms(k_poll_ms)) {
            capture_pass(*service, stop);
        }
    }
};

struct RenderBody {
    SystemUse use;
    std::shared_ptr<AudioClient> client;
    std::shared_ptr<AudioRenderService> service;

    void operator()(const StopEvent& stop) const {
        std::uint32_t buffer_frames = 0;
        if (!audio_ok(audio_client_buffer_size(*client, buffer_frames))) {
            return;
        }
        while (!stop.wait_ms(k_poll_ms)) {
            render_pass(*client, *service, buffer_frames, stop);
        }
    }
};

/// Logs what failed with the bits of the system result.
void log_result(const char* text, AudioResult result) {
    DebugLog("%s: 0x%08X", text, static_cast<unsigned>(result));
}

bool open_input() {
    AudioPtr<AudioClient> client;
    AudioResult result = audio_device_activate(*g_pInputDevice, client);
    if (!audio_ok(result)) {
        log_result("Error: Could not activate input client", result);
        return false;
    }
    g_pInputClient = std::move(client);

    result = audio_client_initialize(*g_pInputClient, k_stereo_48k, k_device_buffer_ms);
    if (!audio_ok(result)) {
        result = audio_client_initialize_mix_format(*g_pInputClient, k_device_buffer_ms);
    }
    if (!audio_ok(result)) {
        log_result("Error: Could not initialize input client", result);
        return false;
    }

    AudioPtr<AudioCaptureService> service;
    result = audio_client_capture_service(*g_pInputClient, service);
    if (!audio_ok(result)) {
        log_result("Error: Could not get capture client", result);
        return false;
    }
    g_pCaptureClient = std::move(service);
    return true;
}

/// A failure leaves a session that only captures, so nobody is told.
void open_output() {
    AudioPtr<AudioClient> client;
    if (!audio_ok(audio_device_activate(*g_pOutputDevice, client))) {
        return;
    }
    g_pOutputClient = std::move(client);
    if (!audio_ok(audio_client_initialize(*g_pOutputClient, k_stereo_48k, k_device_buffer_ms))) {
        return;
    }
    AudioPtr<AudioRenderService> service;
    if (audio_ok(audio_client_render_service(*g_pOutputClient, service))) {
        g_pRenderClient = std::move(service);
        g_hasRenderClient.store(true, std::memory_order_relaxed);
    }
}

void stop_clients() {
    if (g_pInputClient) {
        audio_client_stop(*g_pInputClient);
    }
    if (g_pOutputClient) {
        audio_client_stop(*g_pOutputClient);
    }
}

} // namespace

void release_input_client() {
    g_pCaptureClient.reset();
    g_pInputClient.reset();
}

void release_output_client() {
    g_hasRenderClient.store(false, std::memory_order_relaxed);
    g_pRenderClient.reset();
    g_pOutputClient.reset();
}

std::int32_t start_locked() {
    if (g_isRunning.load(std::memory_order_relaxed) != 0) {
        return 1;
    }
    if (!g_pInputDevice) {
        return 0;
    }
    // The last session's streams: some devices open only once, and an output that fails this time
    // must not leave the old render service behind.
    release_input_client();
    release_output_client();

    if (!open_input()) {
        return 0;
    }
    if (g_pOutputDevice) {
        open_output();
    }
    const AudioResult result = audio_client_start(*g_pInputClient);
    if (!audio_ok(result)) {
        log_result("Error: Could not start capture", result);
        return 0;
    }
    if (g_pOutputClient) {
        audio_client_start(*g_pOutputClient);
    }

    if (!g_hCaptureThread.start(CaptureBody{{}, g_pInputClient, g_pCaptureClient})) {
        stop_clients();
        DebugLog("Error: Could not create capture thread");
        return 0;
    }
    // Without a render thread the session only captures, as without an output device.
    if (g_pRenderClient &&
        !g_hRenderThread.start(RenderBody{{}, g_pOutputClient, g_pRenderClient})) {
        release_output_client();
    }
    g_isRunning.store(1, std::memory_order_relaxed);
    DebugLog("Audio capture started");
    return 1;
}

void stop_locked() {
    if (g_isRunning.load(std::memory_order_relaxed) == 0) {
        return;
    }
    g_hCaptureThread.request_stop();
    g_hRenderThread.request_stop();
    g_hCaptureThread.wait_and_release(k_thread_wait_ms);
    g_hRenderThread.wait_and_release(k_thread_wait_ms);
    stop_clients();
    g_isRunning.store(0, std::memory_order_relaxed);
    DebugLog("Audio capture stopped");
}

} // namespace audio_engine

using namespace audio_engine;

std::int32_t Audio_Init() {
    const std::lock_guard control(g_control);
    const bool was_ready = g_systemReady;
    if (!was_ready) {
        const AudioResult result = audio_system_init();
        if (!audio_ok(result) && result != k_audio_changed_mode) {
            log_result("Error: CoInitializeEx failed", result);
            return 0;
        }
        g_systemReady = audio_ok(result);
    }

    AudioResult result = audio_enumerator_create(g_pEnumerator);
    if (!audio_ok(result)) {
        log_result("Error: Could not create device enumerator", result);
        // Nobody cleans up after a failed start, so what was begun above ends here; what an earlier
        // one set up, its handles or a thread that hangs still use.
        if (g_systemReady && !was_ready) {
            audio_system_uninit();
            g_systemReady = false;
        }
        return 0;
    }
    result = audio_default_device(*g_pEnumerator, AudioFlow::capture, g_pInputDevice);
    if (!audio_ok(result)) {
        log_result("Warning: No default input device", result);
    }
    result = audio_default_device(*g_pEnumerator, AudioFlow::render, g_pOutputDevice);
    if (!audio_ok(result)) {
        log_result("Warning: No default output device", result);
    }
    DebugLog("Audio system initialized");
    return 1;
}

void Audio_Cleanup() {
    const std::lock_guard control(g_control);
    stop_locked();
    g_hasRenderClient.store(false, std::memory_order_relaxed);
    g_pCaptureClient.reset();
    g_pRenderClient.reset();
    g_pInputClient.reset();
    g_pOutputClient.reset();
    g_pInputDevice.reset();
    g_pOutputDevice.reset();
    g_pEnumerator.reset();
    // A thread that hangs in a device call still owns handles: the system stays up under it.
    if (g_systemReady && g_bodies.load(std::memory_order_acquire) == 0) {
        audio_system_uninit();
        g_systemReady = false;
    }
    DebugLog("Audio system cleaned up");
}

std::int32_t Audio_Start() {
    const std::lock_guard control(g_control);
    return start_locked();
}

void Audio_Stop() {
    const std::lock_guard control(g_control);
    stop_locked();
}

std::int32_t Audio_IsRunning() {
    return g_isRunning.load(std::memory_order_relaxed);
}

void Audio_PlaySamples(const float* samples, std::int32_t frameCount) {
    if (g_isRunning.load(std::memory_order_relaxed) == 0 ||
        !g_hasRenderClient.load(std::memory_order_relaxed) || samples == nullptr ||
        frameCount <= 0) {
        return;
    }
    ring_add(samples, static_cast<std::size_t>(frameCount) * 2);
}

void Audio_SetInputGain(float gain) {
    g_inputGain.store(gain, std::memory_order_relaxed);
    DebugLog("Set input gain: %.2f", static_cast<double>(gain));
}

void Audio_SetOutputVolume(float volume) {
    g_outputVolume.store(volume, std::memory_order_relaxed);
    DebugLog("Set output volume: %.2f", static_cast<double>(volume));
}

void Audio_SetLoopback(bool enabled) {
    g_loopbackEnabled.store(enabled, std::memory_order_relaxed);
    DebugLog("Set loopback: %s", enabled ? "ON" : "OFF");
}

void Audio_SetMuted(bool muted) {
    g_isMuted.store(muted, std::memory_order_relaxed);
    DebugLog("Set muted: %s", muted ? "ON" : "OFF");
}

void Audio_SetInputCallback(AudioInputCallback callback) {
    g_inputCallback.store(callback, std::memory_order_relaxed);
}

void Audio_SetLevelCallback(AudioLevelCallback callback) {
    g_levelCallback.store(callback, std::memory_order_relaxed);
}

AudioDelays Audio_MeasureDelays() {
    const std::lock_guard control(g_control);
    AudioDelays delays{};
    if (g_isRunning.load(std::memory_order_relaxed) == 0) {
        return delays;
    }
    constexpr float k_frames_per_ms = 48.0F;
    std::uint32_t latency_us = 0;
    if (audio_ok(audio_client_latency_us(*g_pInputClient, latency_us))) {
        delays.capture = static_cast<float>(latency_us) / 1000.0F;
    }
    delays.ring = static_cast<float>(ring_lag()) / (2.0F * k_frames_per_ms);
    if (g_pRenderClient) {
        std::uint32_t padding = 0;
        if (audio_ok(audio_client_padding(*g_pOutputClient, padding))) {
            delays.render = static_cast<float>(padding) / k_frames_per_ms;
        }
        if (audio_ok(audio_client_latency_us(*g_pOutputClient, latency_us))) {
            delays.render += static_cast<float>(latency_us) / 1000.0F;
        }
    }
    return delays;
}
