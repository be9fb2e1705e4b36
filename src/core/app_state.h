// The client's state record: who is connected where, and with which audio settings. Used by the
// core.
#pragma once

#include <atomic>
#include <cstdint>

enum class ConnectionState : std::int32_t {
    disconnected = 0,
    connecting = 1,
    connected = 2,
    in_room = 3,
};

/// The texts belong to the main thread, except that workers read `username` through
/// IsLocalUsername, under the roster's lock; app_state_set_username writes it under the same lock.
/// What workers read or write without a lock is atomic.
struct AppState {
    char username[64];
    char serverUrl[256];
    char roomId[64];
    std::atomic<ConnectionState> connectionState;
    std::atomic<bool> muted;
    std::atomic<bool> deafened;
    std::atomic<bool> loopback;
    std::atomic<float> inputGain;
    std::atomic<float> outputVolume;
    std::atomic<std::int32_t> bitrate;
};

extern AppState g_appState;

/// Sets the fields whose value at process start is not zero. Main thread, before anything else
/// runs.
void app_state_set_defaults();

/// Copies the local user name, cut at 63 bytes. Main thread.
void app_state_set_username(const char* username);
