// Sound devices by index or name. Called by velmo-peer's session and its device list, on the main
// thread, after Audio_Init.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

enum class PeerDeviceKind { input, output };

/// The device with this index, this name, or, when only one has it, this part of a name. Empty for
/// none, or for a part that several have.
std::optional<std::int32_t> find_peer_device(PeerDeviceKind kind, std::string_view text);

/// Switches to the device that `text` names. False when there is none.
bool select_peer_device(PeerDeviceKind kind, std::string_view text);

/// Prints both lists, the default devices marked.
void print_peer_devices();
