// The roster of other users in the joined voice room, and the string extractor for the voice
// server's messages. Used by the voice session.
//
// The operations may be called from the main and the network thread; one lock keeps the roster
// whole and the view's updates in order.
#pragma once

#include "core/peer.h"

#include <cstddef>

/// Entries 0 to g_peerCount - 1, in order of arrival.
extern Peer g_peerList[k_max_peers];
extern int g_peerCount;

/// True only when `name` is not empty and equals the local user name byte for byte.
bool IsLocalUsername(const char* name);

/// The first entry with exactly this id or user name; null for none and for an empty key. The entry
/// stays valid until the roster changes. Main thread, or the caller knows that no other changes it.
Peer* FindPeerById(const char* id);
Peer* FindPeerByUsername(const char* username);

/// Adds a peer or completes the one known by id or user name; an empty key never overwrites. The
/// local user and a 33rd peer are ignored. Does not refresh the view.
void AddOrUpdatePeer(const char* id, const char* username);

/// Removes the first entry that matches either key. Does not refresh the view.
void RemovePeerByIdOrUsername(const char* id, const char* username);

/// Rebuilds the roster from the message's "existingPeers" array and refreshes the view; without one
/// does nothing. The scan goes on past the array's end and decodes no escapes, on purpose.
void SyncPeersFromExistingPeers(const char* json);

/// Adds by user name only, or removes by it, and refreshes the view.
void AddPeerToList(const char* username);
void RemovePeerFromList(const char* username);

/// Empties the roster and refreshes the view.
void ClearPeerList();

/// Sets the speaking flag of the entry with this id and refreshes the view; an unknown id is
/// ignored.
void set_peer_speaking(const char* id, bool speaking);

/// Shows the roster as it stands now. From a worker the view follows later, never out of order.
void refresh_peer_view();

/// Copies the first string value of `key` in `json` into `out`, at most `outSize` - 1 bytes,
/// escapes not decoded. False, with `out` empty, when there is none or it is empty.
bool JsonExtractString(const char* json, const char* key, char* out, std::size_t outSize);
