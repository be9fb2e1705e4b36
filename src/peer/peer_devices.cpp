// See peer/peer_devices.h.
#include "peer/peer_devices.h"

#include "audio/audio_devices.h"
#include "peer/peer_output.h"
#include "peer/peer_text.h"

#include <charconv>
#include <string>

namespace {

struct DeviceList {
    const char* title;
    std::int32_t (*count)();
    std::int32_t (*info)(std::int32_t index, AudioDeviceInfo* info);
    std::int32_t (*default_index)();
    void (*select)(std::int32_t index);
};

constexpr DeviceList k_inputs{"Microphones", Audio_GetInputDeviceCount, Audio_GetInputDeviceInfo,
                              Audio_GetDefaultInputDevice, Audio_SetInputDevice};
constexpr DeviceList k_outputs{"Outputs", Audio_GetOutputDeviceCount, Audio_GetOutputDeviceInfo,
                               Audio_GetDefaultOutputDevice, Audio_SetOutputDevice};

const DeviceList& list_of(PeerDeviceKind kind) {
    return kind == PeerDeviceKind::input ? k_inputs : k_outputs;
}

std::string device_name(const DeviceList& list, std::int32_t index) {
    AudioDeviceInfo info{};
    return list.info(index, &info) != 0 ? info.name : "";
}

void print_list(const DeviceList& list) {
    peer_print("%s:", list.title);
    const std::int32_t count = list.count();
    if (count == 0) {
        peer_print("  (none)");
    }
    for (std::int32_t index = 0; index < count; ++index) {
        peer_print("  %d  %s%s", index, printable(device_name(list, index)).c_str(),
                   index == list.default_index() ? "  (default)" : "");
    }
}

} // namespace

std::optional<std::int32_t> find_peer_device(PeerDeviceKind kind, std::string_view text) {
    const DeviceList& list = list_of(kind);
    const std::int32_t count = list.count();

    std::int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc{} && stop == end && number >= 0 && number < count) {
        return number;
    }

    std::optional<std::int32_t> partial;
    int partial_count = 0;
    for (std::int32_t index = 0; index < count; ++index) {
        const std::string name = device_name(list, index);
        if (name == text) {
            return index;
        }
        if (name.find(text) != std::string::npos) {
            partial = index;
            ++partial_count;
        }
    }
    return partial_count == 1 ? partial : std::nullopt;
}

bool select_peer_device(PeerDeviceKind kind, std::string_view text) {
    const std::optional<std::int32_t> index = find_peer_device(kind, text);
    if (!index) {
        return false;
    }
    list_of(kind).select(*index);
    return true;
}

void print_peer_devices() {
    print_list(k_inputs);
    print_list(k_outputs);
}
