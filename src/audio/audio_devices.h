// Lists the active audio endpoints and selects one. Called by the settings tab and velmo-peer, on
// the main thread.
#pragma once

#include <cstdint>

struct AudioDeviceInfo {
    std::int32_t index;
    char name[256];         ///< friendly name, UTF-8, cut at 255 bytes
    std::int32_t reserved1; ///< always 0
    std::int32_t reserved2; ///< always 0
    double sampleRate;      ///< always 48000.0
};

/// 1 when the system's sound service is away, so that there are no endpoints for that reason, else
/// 0. Asks anew every time and waits some seconds for a service that hangs. Before Audio_Init, or
/// after.
std::int32_t Audio_IsServiceMissing();

/// Active endpoints of the direction; 0 when the list cannot be had.
std::int32_t Audio_GetInputDeviceCount();
std::int32_t Audio_GetOutputDeviceCount();

/// Fills `info` for the endpoint at `index`; returns 1 when filled. An index is a position in the
/// system's list as of this call and does not survive a device change.
std::int32_t Audio_GetInputDeviceInfo(std::int32_t index, AudioDeviceInfo* info);
std::int32_t Audio_GetOutputDeviceInfo(std::int32_t index, AudioDeviceInfo* info);

/// The default endpoint's index; 0 when it is not in the list, -1 when there is no endpoint.
std::int32_t Audio_GetDefaultInputDevice();
std::int32_t Audio_GetDefaultOutputDevice();

/// Switches to the endpoint at `index`, restarting audio when it was running. An index outside the
/// list leaves the direction without a device.
void Audio_SetInputDevice(std::int32_t index);
void Audio_SetOutputDevice(std::int32_t index);
