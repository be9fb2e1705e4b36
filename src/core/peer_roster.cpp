// See core/peer_roster.h.
#include "core/peer_roster.h"

#include "base/main_thread.h"
#include "base/text.h"
#include "core/app_state.h"
#include "core/core_internal.h"
#include "ui/gui_facade.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

Peer g_peerList[k_max_peers];
int g_peerCount = 0;

namespace {

// The roster as it stood at one moment. A later snapshot carries a higher version.
struct RosterSnapshot {
    Peer peers[k_max_peers];
    int count;
    std::uint64_t version;
};

std::uint64_t g_last_version = 0;  // under the roster's lock
std::uint64_t g_shown_version = 0; // main thread

// The functions named ..._locked run under g_roster_mutex.

bool is_local_username_locked(const char* name) {
    return !is_empty(name) && g_appState.username[0] != '\0' &&
           std::strcmp(name, g_appState.username) == 0;
}

template <typename Matches>
Peer* find_peer_locked(Matches matches) {
    Peer* const end = g_peerList + g_peerCount;
    Peer* const found = std::find_if(g_peerList, end, matches);
    return found != end ? found : nullptr;
}

Peer* find_by_id_locked(const char* id) {
    if (is_empty(id)) {
        return nullptr;
    }
    return find_peer_locked([id](const Peer& peer) { return std::strcmp(peer.id, id) == 0; });
}

// An entry may have no user name, and "" finds it.
Peer* find_exact_username_locked(const char* username) {
    return find_peer_locked(
        [username](const Peer& peer) { return std::strcmp(peer.username, username) == 0; });
}

Peer* find_by_username_locked(const char* username) {
    return is_empty(username) ? nullptr : find_exact_username_locked(username);
}

void add_or_update_locked(const char* id, const char* username) {
    const bool has_id = !is_empty(id);
    const bool has_username = !is_empty(username);
    if ((!has_id && !has_username) || is_local_username_locked(username)) {
        return;
    }
    Peer* peer = find_by_id_locked(id);
    if (peer == nullptr) {
        peer = find_by_username_locked(username);
    }
    if (peer == nullptr) {
        if (g_peerCount >= k_max_peers) {
            return;
        }
        peer = &g_peerList[g_peerCount];
        *peer = Peer{};
        ++g_peerCount;
    }
    if (has_id) {
        copy_text(peer->id, id);
    }
    if (has_username) {
        copy_text(peer->username, username);
    }
}

void remove_locked(const char* id, const char* username) {
    const bool has_id = !is_empty(id);
    const bool has_username = !is_empty(username);
    Peer* const found = find_peer_locked([=](const Peer& peer) {
        return (has_id && std::strcmp(peer.id, id) == 0) ||
               (has_username && std::strcmp(peer.username, username) == 0);
    });
    if (found != nullptr) {
        // The record past the new end keeps its bytes; AddPeerToList counts on finding them.
        std::copy(std::next(found), g_peerList + g_peerCount, found);
        --g_peerCount;
    }
}

// One quoted value of a message, without its quotes.
struct QuotedValue {
    std::string_view text;
    std::size_t end; // just past the closing quote
};

// The value that begins at `begin`; false without a closing quote.
bool read_value(std::string_view json, std::size_t begin, QuotedValue& value) {
    const std::size_t quote = json.find('"', begin);
    if (quote == std::string_view::npos) {
        return false;
    }
    value = {json.substr(begin, quote - begin), quote + 1};
    return true;
}

void add_existing_peers_locked(std::string_view json) {
    constexpr std::string_view k_id_key = "\"id\":\"";
    constexpr std::string_view k_username_key = "\"username\":\"";
    constexpr std::size_t k_none = std::string_view::npos;

    // A user name serves every id before it, so it is searched again only once passed: a message
    // costs one walk, however many ids a server puts before one name or without any.
    std::size_t username_key_at = json.find(k_username_key);
    QuotedValue id{};
    for (;;) {
        const std::size_t id_key_at = json.find(k_id_key, id.end);
        if (id_key_at == k_none || !read_value(json, id_key_at + k_id_key.size(), id)) {
            return;
        }
        if (username_key_at < id.end) {
            username_key_at = json.find(k_username_key, id.end);
        }
        QuotedValue username{};
        if (username_key_at != k_none) {
            read_value(json, username_key_at + k_username_key.size(), username);
        }
        char id_text[sizeof Peer::id];
        char username_text[sizeof Peer::username];
        copy_text(id_text, id.text);
        copy_text(username_text, username.text);
        add_or_update_locked(id_text, username_text);
    }
}

// Main thread. What the main thread has shown itself meanwhile is newer than a worker's snapshot
// that was still under way.
void show_snapshot(const RosterSnapshot& snapshot) {
    if (snapshot.version > g_shown_version) {
        g_shown_version = snapshot.version;
        GUI_UpdatePeerList(snapshot.peers, snapshot.count);
    }
}

} // namespace

bool IsLocalUsername(const char* name) {
    const std::lock_guard lock(g_roster_mutex);
    return is_local_username_locked(name);
}

Peer* FindPeerById(const char* id) {
    const std::lock_guard lock(g_roster_mutex);
    return find_by_id_locked(id);
}

Peer* FindPeerByUsername(const char* username) {
    const std::lock_guard lock(g_roster_mutex);
    return find_by_username_locked(username);
}

void AddOrUpdatePeer(const char* id, const char* username) {
    const std::lock_guard lock(g_roster_mutex);
    add_or_update_locked(id, username);
}

void RemovePeerByIdOrUsername(const char* id, const char* username) {
    const std::lock_guard lock(g_roster_mutex);
    remove_locked(id, username);
}

void SyncPeersFromExistingPeers(const char* json) {
    constexpr std::string_view k_array_pattern = "\"existingPeers\":[";
    if (json == nullptr) {
        return;
    }
    const std::string_view text(json);
    const std::size_t array_at = text.find(k_array_pattern);
    if (array_at == std::string_view::npos) {
        return;
    }
    {
        const std::lock_guard lock(g_roster_mutex);
        g_peerCount = 0;
        add_existing_peers_locked(text.substr(array_at + k_array_pattern.size() - 1));
    }
    refresh_peer_view();
}

void AddPeerToList(const char* username) {
    if (username == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(g_roster_mutex);
        if (g_peerCount >= k_max_peers || find_exact_username_locked(username) != nullptr) {
            return;
        }
        // The id and the speaking flag stay as an earlier removal left them, on purpose.
        copy_text(g_peerList[g_peerCount].username, username);
        ++g_peerCount;
    }
    refresh_peer_view();
}

void RemovePeerFromList(const char* username) {
    RemovePeerByIdOrUsername(nullptr, username);
    refresh_peer_view();
}

void ClearPeerList() {
    {
        const std::lock_guard lock(g_roster_mutex);
        g_peerCount = 0;
    }
    refresh_peer_view();
}

void set_peer_speaking(const char* id, bool speaking) {
    {
        const std::lock_guard lock(g_roster_mutex);
        Peer* const peer = find_by_id_locked(id);
        if (peer == nullptr) {
            return;
        }
        peer->speaking = speaking ? 1 : 0;
    }
    refresh_peer_view();
}

void refresh_peer_view() {
    RosterSnapshot snapshot;
    {
        const std::lock_guard lock(g_roster_mutex);
        std::copy(std::begin(g_peerList), std::end(g_peerList), snapshot.peers);
        snapshot.count = g_peerCount;
        snapshot.version = ++g_last_version;
    }
    run_on_main_thread([snapshot] { show_snapshot(snapshot); });
}

bool JsonExtractString(const char* json, const char* key, char* out, std::size_t outSize) {
    if (json == nullptr || key == nullptr || out == nullptr || outSize == 0) {
        return false;
    }
    out[0] = '\0';
    char pattern[64];
    format_text(pattern, "\"%s\":\"", key);
    const std::string_view text(json);
    const std::size_t pattern_at = text.find(pattern);
    QuotedValue value{};
    if (pattern_at == std::string_view::npos ||
        !read_value(text, pattern_at + std::strlen(pattern), value) || value.text.empty()) {
        return false;
    }
    copy_text(out, outSize, value.text);
    return true;
}
