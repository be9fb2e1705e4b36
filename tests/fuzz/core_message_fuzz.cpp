// Feeds rows of server events to the voice session. The input is a row of lines: the first byte of
// a line chooses the handler, the rest is its text.
#include "core/app_state.h"
#include "core/peer_roster.h"
#include "core/voice_session.h"
#include "unit/core/fake_gui.h"
#include "unit/core/fake_journal.h"
#include "unit/core/fake_main_queue.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool is_terminated(const char (&text)[64]) {
    return std::find(text, text + sizeof text, '\0') != text + sizeof text;
}

void handle(char kind, const std::string& text) {
    switch (kind) {
    case 'e':
        OnNetworkError(text.c_str());
        break;
    case 's':
        OnSpeakingState(text.c_str(), static_cast<int>(text.size()) % 2);
        break;
    case 'a':
        OnNetworkAudio(reinterpret_cast<const std::uint8_t*>(text.data()),
                       static_cast<int>(text.size()));
        break;
    case 'c':
        OnChatSend(text.c_str());
        break;
    case 'j':
        OnJoinRoom(text.c_str());
        break;
    case 'l':
        OnLeaveRoom();
        break;
    default:
        OnNetworkMessage(kind - '0', text.c_str());
        break;
    }
}

void check_roster() {
    expect(g_peerCount >= 0 && g_peerCount <= k_max_peers);
    for (int i = 0; i < g_peerCount; ++i) {
        const Peer& peer = g_peerList[i];
        expect(is_terminated(peer.id) && is_terminated(peer.username) && peer.speaking <= 1);
        expect(!IsLocalUsername(peer.username));
        expect(peer.id[0] != '\0' || peer.username[0] != '\0');
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // A folder in its place keeps the debug log's file from being opened for every event.
    std::error_code ignored;
    std::filesystem::create_directory("velmotalk_debug.log", ignored);
    fake_main_queue_install();
    app_state_set_username("ana");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    journal_pause();
    ClearPeerList();
    const std::string input(reinterpret_cast<const char*>(data), size);
    for (std::size_t at = 0; at < input.size();) {
        const std::size_t end = std::min(input.find('\n', at), input.size());
        if (end > at) {
            handle(input[at], input.substr(at + 1, end - at - 1));
        }
        check_roster();
        at = end + 1;
    }
    return 0;
}
