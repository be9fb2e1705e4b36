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
    const char* one;
    const char* several;
    std::int32_t (*count)();
    std::int32_t (*info)(std::int32_t index, AudioDeviceInfo* info);
    std::int32_t (*default_index)();
    void (*select)(std::int32_t index);
};

constexpr DeviceList k_inputs{"Microphones",
                              "microphone",
                              "microphones",
                              Audio_GetInputDeviceCount,
                              Audio_GetInputDeviceInfo,
                              Audio_GetDefaultInputDevice,
                              Audio_SetInputDevice};
constexpr DeviceList k_outputs{"Outputs",
                               "output",
                               "outputs",
                               Audio_GetOutputDeviceCount,
                               Audio_GetOutputDeviceInfo,
                               Audio_GetDefaultOutputDevice,
                               Audio_SetOutputDevice};

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

std::vector<std::int32_t> find_peer_devices(PeerDeviceKind kind, std::string_view text) {
    const DeviceList& list = list_of(kind);
    const std::int32_t count = list.count();

    std::int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc{} && stop == end && number >= 0 && number < count) {
        return {number};
    }

    std::vector<std::int32_t> whole;
    std::vector<std::int32_t> partial;
    for (std::int32_t index = 0; index < count; ++index) {
        const std::string name = device_name(list, index);
        if (name == text) {
            whole.push_back(index);
        }
        if (name.find(text) != std::string::npos) {
            partial.push_back(index);
        }
    }
    return whole.empty() ? partial : whole;
}

std::string select_peer_device(PeerDeviceKind kind, std::string_view text, std::string& name) {
    const DeviceList& list = list_of(kind);
    const std::vector<std::int32_t> found = find_peer_devices(kind, text);
    if (found.empty()) {
        return std::string("no such ") + list.one + ": " + std::string(text);
    }
    if (found.size() > 1) {
        std::string error = std::string(text) + " matches several " + list.several + ":";
        const char* separator = " ";
        for (const std::int32_t index : found) {
            error += separator + std::to_string(index) + " " + device_name(list, index);
            separator = ", ";
        }
        return error;
    }
    name = device_name(list, found.front());
    list.select(found.front());
    return "";
}

void print_peer_devices() {
    print_list(k_inputs);
    print_list(k_outputs);
}
