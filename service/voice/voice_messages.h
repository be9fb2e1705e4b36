// The JSON texts of the voice protocol: reads what clients ask and writes what they are told.
// Called by the session rules.
//
// Clients have no JSON parser. They look for the first "username":" in a text and for every
// "id":" after "existingPeers":[, whatever stands around it, and take the bytes up to the next
// quote as they are. Texts for them are therefore compact, name the user concerned before anybody
// else, keep "existingPeers" for the end, and hold only names that need no escaping.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

struct JoinRequest {
    std::string room_id;
    std::string username;
    /// The client's fixed buffers cut a name inside its last character, which is not kept here: the
    /// client knows itself by another name than the service does.
    bool was_cut = false;
};

/// One member as the texts name it.
struct PeerName {
    std::string_view id;
    std::string_view username;
};

/// True for 1 to 63 bytes without control characters, quotes and backslashes. `name` is valid
/// UTF-8.
bool is_plain_name(std::string_view name);

/// Reads {"roomId":"...","username":"..."}. Empty unless both are there and plain names. The first
/// bytes of a cut character at the end of a name are dropped; bytes that are no UTF-8 anywhere else
/// are refused.
std::optional<JoinRequest> parse_join_request(std::string_view json);

/// Reads the "message" of a chat line, empty when there is none. Clients put what was typed between
/// quotes as it stands and cut a long line off, so a text that is no JSON is read up to its end.
std::optional<std::string> parse_chat_message(std::string_view json);

/// {"username","roomId","peerId","existingPeers"}: to the one who joined.
std::string join_confirmation(const PeerName& joined, std::string_view room_id,
                              std::span<const PeerName> existing_peers);

/// {"username","peerId","existingPeers"}: to the others of the room, about someone who came or
/// changed names.
std::string peer_announcement(const PeerName& peer, std::span<const PeerName> existing_peers);

/// {"peerId","username"}.
std::string peer_left_message(const PeerName& peer);

/// {"peerId","username":"","existingPeers"}: someone left whose user name another member bears too.
/// Clients strike the first entry with that id or that name: here they must find no name.
std::string namesake_left_message(std::string_view peer_id,
                                  std::span<const PeerName> existing_peers);

/// {"peerId","speaking"}.
std::string speaking_message(std::string_view peer_id, bool speaking);

/// {"room","username","message"}, the message escaped; bytes that are not UTF-8 are replaced.
std::string chat_message(std::string_view room_id, std::string_view username,
                         const std::string& message);
