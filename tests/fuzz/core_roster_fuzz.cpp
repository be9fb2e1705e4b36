// Feeds texts to the roster's two readers and holds them to a plain word-for-word reading of their
// rules. The input is the message up to its first NUL, then a key.
#include "base/text.h"
#include "core/app_state.h"
#include "core/peer_roster.h"
#include "unit/core/fake_journal.h"
#include "unit/core/fake_main_queue.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char* k_local_user = "ana";

struct Entry {
    std::string id;
    std::string username;
};

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void add(std::vector<Entry>& roster, const std::string& id, const std::string& username) {
    if ((id.empty() && username.empty()) || username == k_local_user) {
        return;
    }
    Entry* found = nullptr;
    for (Entry& entry : roster) {
        if (found == nullptr && !id.empty() && entry.id == id) {
            found = &entry;
        }
    }
    for (Entry& entry : roster) {
        if (found == nullptr && !username.empty() && entry.username == username) {
            found = &entry;
        }
    }
    if (found == nullptr) {
        if (roster.size() == k_max_peers) {
            return;
        }
        found = &roster.emplace_back();
    }
    if (!id.empty()) {
        found->id = id;
    }
    if (!username.empty()) {
        found->username = username;
    }
}

// Every "id" after the array's begin, each with the next "username" behind it, cut at 63 bytes.
std::vector<Entry> read_plainly(const char* json) {
    std::vector<Entry> roster;
    const char* position = std::strstr(json, "\"existingPeers\":[");
    while ((position = std::strstr(position, "\"id\":\"")) != nullptr) {
        const char* const id = position + 6;
        const char* const id_end = std::strchr(id, '"');
        if (id_end == nullptr) {
            break;
        }
        std::string username;
        if (const char* name = std::strstr(id_end + 1, "\"username\":\"")) {
            name += 12;
            if (const char* const name_end = std::strchr(name, '"')) {
                username.assign(name, name_end);
            }
        }
        add(roster, std::string(id, id_end).substr(0, 63), username.substr(0, 63));
        position = id_end + 1;
    }
    return roster;
}

void check_sync(const char* json) {
    g_peerCount = 0;
    AddOrUpdatePeer("former", "former");
    SyncPeersFromExistingPeers(json);
    if (std::strstr(json, "\"existingPeers\":[") == nullptr) {
        expect(g_peerCount == 1);
        return;
    }
    const std::vector<Entry> expected = read_plainly(json);
    expect(g_peerCount >= 0 && static_cast<std::size_t>(g_peerCount) == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expect(g_peerList[i].id == expected[i].id);
        expect(g_peerList[i].username == expected[i].username);
        expect(g_peerList[i].speaking == 0);
    }
}

void check_extract(const char* json, const char* key) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{8}, std::size_t{64}}) {
        std::vector<char> out(size, 'x');
        const bool found = JsonExtractString(json, key, out.data(), size);
        const std::string value(out.data());
        expect(value.size() < size);
        expect(found || value.empty());

        const std::string pattern = ("\"" + std::string(key) + "\":\"").substr(0, 63);
        std::string plain;
        if (const char* at = std::strstr(json, pattern.c_str())) {
            at += pattern.size();
            if (const char* const end = std::strchr(at, '"')) {
                plain.assign(at, end);
            }
        }
        expect(found == !plain.empty());
        expect(value == plain.substr(0, size - 1));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fake_main_queue_install();
    app_state_set_username(k_local_user);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    journal_pause();
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string json = input.substr(0, input.find('\0'));
    const std::string key = json.size() < input.size() ? input.substr(json.size() + 1) : "username";
    check_sync(json.c_str());
    check_extract(json.c_str(), key.c_str());
    return 0;
}
