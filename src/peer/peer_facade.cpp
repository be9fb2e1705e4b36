// velmo-peer's half of ui/gui_facade.h, called by the core. It has no windows to set up: the
// operations of the client's start-up and the callback slots are left out.
#include "peer/peer_facade.h"

#include "core/peer.h"
#include "peer/peer_output.h"
#include "peer/peer_text.h"
#include "ui/gui_facade.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

int g_state = 0;
std::vector<Peer> g_peers;
std::atomic<float> g_level{0.0F};

// The core speaks Spanish to its user; this program's texts are English. An empty translation
// belongs to something that other lines tell better.
struct Translation {
    std::string_view core;
    std::string_view here;
};

constexpr Translation k_translations[] = {
    {"Error de conexión", ""},    {"Error de red", "server error"}, {"Te has unido al canal", ""},
    {"Un usuario ha salido", ""}, {"Mensaje de chat recibido", ""},
};

std::string translate(const char* text) {
    for (const Translation& row : k_translations) {
        if (row.core == text) {
            return std::string(row.here);
        }
    }
    return printable(text);
}

// The core counts itself in a room as soon as it asks to be let in. That it is in, the session
// tells when the server has answered.
const char* state_name(int state) {
    constexpr const char* k_names[] = {"disconnected", "connecting", "connected", "joining"};
    const bool known = state >= 0 && state < static_cast<int>(std::size(k_names));
    return known ? k_names[state] : "unknown";
}

// Whether two records stand for one person: the roster completes an entry step by step.
bool is_same(const Peer& a, const Peer& b) {
    return (a.id[0] != '\0' && std::strcmp(a.id, b.id) == 0) ||
           (a.username[0] != '\0' && std::strcmp(a.username, b.username) == 0);
}

const Peer* find_same(const std::vector<Peer>& peers, const Peer& peer) {
    const auto found = std::find_if(peers.begin(), peers.end(),
                                    [&peer](const Peer& other) { return is_same(other, peer); });
    return found != peers.end() ? &*found : nullptr;
}

std::string shown_name(const Peer& peer) {
    return printable(peer.username[0] != '\0' ? peer.username : peer.id);
}

} // namespace

void peer_facade_forget_others() {
    g_peers.clear();
}

void peer_facade_reset() {
    g_state = 0;
    g_peers.clear();
    g_level.store(0.0F, std::memory_order_relaxed);
}

int peer_facade_state() {
    return g_state;
}

int peer_facade_others() {
    return static_cast<int>(g_peers.size());
}

float peer_facade_level() {
    return g_level.load(std::memory_order_relaxed);
}

void GUI_ShowMessage(const char* title, const char* detail, int /*type*/) {
    const std::string english = translate(title);
    if (!english.empty()) {
        peer_complain("%s: %s", english.c_str(), printable(detail).c_str());
    }
}

// The connection states say the same.
void GUI_SetStatusText(const char* /*text*/) {}

void GUI_UpdateConnectionState(int state) {
    if (state != g_state) {
        g_state = state;
        peer_print("state: %s", state_name(state));
    }
}

void GUI_UpdatePeerList(const Peer* peers, int count) {
    const std::vector<Peer> former = std::move(g_peers);
    g_peers.assign(peers, peers + count);
    for (const Peer& peer : former) {
        if (find_same(g_peers, peer) == nullptr) {
            peer_print("peer left: %s", shown_name(peer).c_str());
        }
    }
    for (const Peer& peer : g_peers) {
        const Peer* const before = find_same(former, peer);
        if (before == nullptr) {
            peer_print("peer joined: %s", shown_name(peer).c_str());
        }
        const bool was_speaking = before != nullptr && before->speaking != 0;
        if ((peer.speaking != 0) != was_speaking) {
            peer_print("peer %s: %s", peer.speaking != 0 ? "speaking" : "silent",
                       shown_name(peer).c_str());
        }
    }
}

void GUI_AddChatMessage(const char* sender, const char* text) {
    peer_print("chat: %s: %s", printable(sender).c_str(), printable(text).c_str());
}

void GUI_AddSystemMessage(const char* text) {
    const std::string english = translate(text);
    if (!english.empty()) {
        peer_print("%s", english.c_str());
    }
}

void GUI_UpdateAudioLevel(float level) {
    g_level.store(level, std::memory_order_relaxed);
}
