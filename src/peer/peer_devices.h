// Sound devices by index or name. Called by velmo-peer's session and its device list, on the main
// thread, after Audio_Init but for one question.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class PeerDeviceKind { input, output };

/// The devices that `text` may mean: the one with this index or this name, else all with this part
/// in their name.
std::vector<std::int32_t> find_peer_devices(PeerDeviceKind kind, std::string_view text);

/// Switches to the device that `text` names. Returns what is wrong when it names none, or several;
/// else an empty text. `name` becomes the device's.
std::string select_peer_device(PeerDeviceKind kind, std::string_view text, std::string& name);

/// True when the system's sound service is away, so that there are no devices for that reason.
/// Waits some seconds for one that hangs. Before Audio_Init, or after.
bool sound_service_is_missing();

constexpr const char* k_no_sound_service = "no sound server answers";

/// Prints both lists, the default devices marked.
void print_peer_devices();
