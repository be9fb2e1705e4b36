// What a command typed into velmo-peer does. Called by the reader of the commands, through the main
// loop.
#include "core/app_state.h"
#include "core/voice_session.h"
#include "peer/peer_commands.h"
#include "peer/peer_devices.h"
#include "peer/peer_output.h"
#include "peer/peer_session.h"
#include "peer/peer_session_internal.h"
#include "peer/peer_text.h"
#include "peer/peer_watch.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::size_t k_chat_text_bytes_max = 512;    // a server refuses more
constexpr std::size_t k_chat_message_bytes_max = 599; // the core cuts it there

void switch_device(PeerDeviceKind kind, const std::string& device) {
    const bool is_input = kind == PeerDeviceKind::input;
    if (is_input && !peer_session_uses_microphone()) {
        peer_complain("input: no microphone is in use");
        return;
    }
    std::string name;
    const std::string error = select_peer_device(kind, device, name);
    if (!error.empty()) {
        peer_complain("%s", printable(error).c_str());
        return;
    }
    if (is_input) {
        peer_watch_expect_capture();
    }
    peer_print("%s: %s", is_input ? "input" : "output", printable(name).c_str());
}

// How long a text may be that the core's message carries uncut and the server takes.
std::size_t chat_bytes_max() {
    constexpr std::string_view k_frame = R"({"room":"","username":"","message":""})";
    const std::size_t others = k_frame.size() + std::string_view(g_appState.roomId).size() +
                               std::string_view(g_appState.username).size();
    return std::min(k_chat_text_bytes_max, k_chat_message_bytes_max - others);
}

void send_chat(const std::string& text) {
    if (!peer_session_is_in_room()) {
        peer_complain("chat: not in a room");
        return;
    }
    if (const std::size_t most = chat_bytes_max(); text.size() > most) {
        peer_complain("chat: the text has %zu bytes, and the room takes %zu at most", text.size(),
                      most);
        return;
    }
    OnChatSend(text.c_str());
    peer_print("chat sent");
}

} // namespace

void run_peer_command_line(const std::string& line) {
    const PeerCommand command = parse_peer_command(line);
    if (!command.error.empty()) {
        peer_complain("%s", printable(command.error).c_str());
        return;
    }
    switch (command.kind) {
    case PeerCommandKind::mute:
        OnMuteToggle(true);
        peer_print("muted");
        break;
    case PeerCommandKind::unmute:
        OnMuteToggle(false);
        peer_print("unmuted");
        break;
    case PeerCommandKind::deafen:
        OnDeafenToggle(true);
        peer_print("deafened");
        break;
    case PeerCommandKind::undeafen:
        OnDeafenToggle(false);
        peer_print("undeafened");
        break;
    case PeerCommandKind::leave:
        if (!peer_session_is_in_room()) {
            peer_complain("leave: not in a room");
            break;
        }
        peer_print("leaving the room");
        peer_session_leave_room();
        break;
    case PeerCommandKind::join:
        peer_print("joining room %s", command.argument.c_str());
        peer_session_join_room(command.argument);
        break;
    case PeerCommandKind::input:
        switch_device(PeerDeviceKind::input, command.argument);
        break;
    case PeerCommandKind::output:
        switch_device(PeerDeviceKind::output, command.argument);
        break;
    case PeerCommandKind::chat:
        send_chat(command.argument);
        break;
    case PeerCommandKind::help:
        peer_print("commands: %s", peer_command_list().c_str());
        break;
    case PeerCommandKind::report:
        peer_session_print_report();
        break;
    case PeerCommandKind::quit:
        peer_print("quitting");
        peer_session_end_stay();
        break;
    case PeerCommandKind::none:
    case PeerCommandKind::unknown:
        break;
    }
}
