// The COM objects that the Windows half of the audio seam is made of. Private to platform/windows.
//
// Threads: the objects are made on the main thread, which is apartment-threaded, and their pointers
// are then used as they are on the capture and render threads, and on the voice network thread,
// which may stop the clients. That is sound here, because the audio interfaces live in the
// program's own process, are made for use in any apartment, lock inside, and are called through
// plain pointers, never through a marshalled proxy; a thread that only calls them needs no COM of
// its own. What remains is that activation needs a thread with COM, and that a service and its
// client are to be released on one thread: both are the control thread's.
#pragma once

#include "platform/audio_endpoint.h"
#include "platform/audio_samples.h"

#include <windows.h>

#include <audioclient.h>
#include <mmdeviceapi.h>

#include <optional>
#include <utility>
#include <vector>

/// One reference to a COM object.
template <typename Interface>
class ComRef {
  public:
    ComRef() = default;
    ComRef(const ComRef& other) : m_object(other.m_object) {
        if (m_object != nullptr) {
            m_object->AddRef();
        }
    }
    ComRef(ComRef&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComRef& operator=(ComRef other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComRef() {
        if (m_object != nullptr) {
            m_object->Release();
        }
    }

    Interface& operator*() const { return *m_object; }
    Interface* operator->() const { return m_object; }

    /// Where a call that makes an object puts it; the reference must be empty.
    Interface** out() { return &m_object; }
    void** out_void() { return reinterpret_cast<void**>(&m_object); }

  private:
    Interface* m_object = nullptr;
};

/// Keeps the system's timer at 1 ms while it lives, so that a wait of 10 ms does not take 16.
class FineTimer {
  public:
    FineTimer();
    FineTimer(const FineTimer&) = delete;
    FineTimer& operator=(const FineTimer&) = delete;
    ~FineTimer();
};

/// The kind of samples a mix format has, empty for one that cannot be converted.
std::optional<MixFormat> to_mix_format(const WAVEFORMATEX& wave);

struct AudioEnumerator {
    ComRef<IMMDeviceEnumerator> enumerator;
};

struct AudioDevice {
    ComRef<IMMDevice> device;
    AudioFlow flow;
};

struct AudioClient {
    ComRef<IAudioClient> client;
    AudioFlow flow;
    std::optional<MixFormat> format{}; ///< of the initialised stream
    std::optional<FineTimer> timer{};  ///< while started
};

struct AudioCaptureService {
    ComRef<IAudioClient> client; ///< outlives its service whatever is freed first
    ComRef<IAudioCaptureClient> service;
    MixFormat format;
    std::vector<float> packet{}; ///< in stereo, as long as the system's buffer
};

struct AudioRenderService {
    ComRef<IAudioClient> client;
    ComRef<IAudioRenderClient> service;
};
