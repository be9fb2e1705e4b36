// Sound devices by index or name. Called by velmo-peer's session and its device list, on the main
// thread, after Audio_Init.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class PeerDeviceKind { input, output };

/// The devices that `text` may mean: the one with this index, else all of exactly this name, else
/// all with this part in their name.
std::vector<std::int32_t> find_peer_devices(PeerDeviceKind kind, std::string_view text);

/// Switches to the device that `text` names. Returns what is wrong when it names none, or several;
/// else an empty text. `name` becomes the device's.
std::string select_peer_device(PeerDeviceKind kind, std::string_view text, std::string& name);

/// What to say when Audio_IsServiceMissing.
constexpr const char* k_no_sound_service = "no sound server answers";

/// Prints both lists, the default devices marked.
void print_peer_devices();
