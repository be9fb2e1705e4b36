// What the device engine's files share: its state, and the single passes of its two threads.
// Included by src/audio and by the engine's tests.
#pragma once

#include "audio/audio_engine.h"
#include "audio/audio_level.h"
#include "audio/audio_ring.h"
#include "base/worker.h"
#include "platform/audio_endpoint.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace audio_engine {

constexpr std::uint32_t k_device_buffer_ms = 20;
constexpr std::uint32_t k_poll_ms = 10;
constexpr std::uint32_t k_thread_wait_ms = 1000;

/// Taken by whoever starts, stops, measures or changes devices: the main thread, and the voice
/// network thread when a lost connection stops audio. It guards every handle and both workers
/// below. It is held while a stop waits for the threads, so neither thread ever takes it, nor may a
/// callback that runs on them.
extern std::mutex g_control;

/// Changed on the main thread only, which may therefore read it without the lock.
extern AudioPtr<AudioEnumerator> g_pEnumerator;

extern AudioPtr<AudioDevice> g_pInputDevice;
extern AudioPtr<AudioDevice> g_pOutputDevice;

/// Shared with the thread that works on them: one that hangs in a device call past its bounded wait
/// keeps its handles until it returns, whatever becomes of these.
extern std::shared_ptr<AudioClient> g_pInputClient;
extern std::shared_ptr<AudioClient> g_pOutputClient;
extern std::shared_ptr<AudioCaptureService> g_pCaptureClient;
extern std::shared_ptr<AudioRenderService> g_pRenderClient;

/// Mirrors g_pRenderClient for the voice network thread, which takes no lock.
extern std::atomic<bool> g_hasRenderClient;

/// Each start of a worker brings its own stop event.
extern Worker g_hCaptureThread;
extern Worker g_hRenderThread;

extern std::atomic<std::int32_t> g_isRunning;
extern std::atomic<bool> g_loopbackEnabled;
extern std::atomic<bool> g_isMuted;
extern std::atomic<AudioInputCallback> g_inputCallback;
extern std::atomic<AudioLevelCallback> g_levelCallback;
extern std::atomic<float> g_inputGain;
extern std::atomic<float> g_outputVolume;

/// Audio_Start and Audio_Stop for a caller that holds g_control.
std::int32_t start_locked();
void stop_locked();

/// Drop this side's share of one direction's service and client. With g_control held.
void release_input_client();
void release_output_client();

/// Works off the packets that wait, until one call fails or `stop` is set. Capture thread.
void capture_pass(AudioCaptureService& service, const StopEvent& stop);

/// Fills what is free of the output client's buffer of `buffer_frames` frames; does nothing when a
/// call fails. Render thread.
void render_pass(AudioClient& client, AudioRenderService& service, std::uint32_t buffer_frames,
                 const StopEvent& stop);

} // namespace audio_engine
