// See service/voice/voice_messages.h.
#include "service/voice/voice_messages.h"

#include "service/shared/client_json.h"
#include "service/voice/voice_limits.h"

#include <nlohmann/json.hpp>

#include <initializer_list>

namespace {

using Json = nlohmann::json;

// An object, or null for anything else. Bytes that are not UTF-8 are no JSON either.
Json parse_object(std::string_view json) {
    Json parsed = Json::parse(json, nullptr, false);
    return parsed.is_object() ? parsed : Json();
}

// The value of `key` when it is a text. `object` is an object or null.
const std::string* find_text(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() ? found->get_ptr<const Json::string_t*>() : nullptr;
}

std::string concatenate(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) {
        text.append(part);
    }
    return text;
}

void append_existing_peers(std::string& text, std::span<const PeerName> peers) {
    text += "\"existingPeers\":[";
    for (const PeerName& peer : peers) {
        if (&peer != peers.data()) {
            text += ',';
        }
        text += concatenate({"{\"id\":\"", peer.id, "\",\"username\":\"", peer.username, "\"}"});
    }
    text += "]}";
}

} // namespace

bool is_plain_name(std::string_view name) {
    if (name.empty() || name.size() > k_max_name_bytes) {
        return false;
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        // U+0080 to U+009F are control characters too: C2 80 to C2 9F.
        const bool is_c1 =
            byte == 0xC2 && i + 1 < name.size() && static_cast<unsigned char>(name[i + 1]) < 0xA0;
        if (byte < 0x20 || byte == 0x7F || byte == '"' || byte == '\\' || is_c1) {
            return false;
        }
    }
    return true;
}

std::optional<JoinRequest> parse_join_request(std::string_view json) {
    const std::string text = without_cut_characters(json);
    const Json request = parse_object(text);
    const std::string* const room_id = find_text(request, "roomId");
    const std::string* const username = find_text(request, "username");
    if (room_id == nullptr || username == nullptr || !is_plain_name(*room_id) ||
        !is_plain_name(*username)) {
        return std::nullopt;
    }
    return JoinRequest{*room_id, *username, text.size() != json.size()};
}

std::optional<std::string> parse_chat_message(std::string_view json) {
    const Json line = parse_object(without_cut_characters(json));
    if (!line.is_null()) {
        const std::string* const message = find_text(line, "message");
        return message != nullptr ? std::optional(*message) : std::nullopt;
    }
    constexpr std::string_view k_key = "\"message\":\"";
    constexpr std::string_view k_end = "\"}";
    const std::size_t key_at = json.find(k_key);
    if (key_at == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view message = json.substr(key_at + k_key.size());
    if (message.ends_with(k_end)) {
        message.remove_suffix(k_end.size());
    }
    return std::string(message);
}

std::string join_confirmation(const PeerName& joined, std::string_view room_id,
                              std::span<const PeerName> existing_peers) {
    std::string text = concatenate({"{\"username\":\"", joined.username, "\",\"roomId\":\"",
                                    room_id, "\",\"peerId\":\"", joined.id, "\","});
    append_existing_peers(text, existing_peers);
    return text;
}

std::string peer_announcement(const PeerName& peer, std::span<const PeerName> existing_peers) {
    std::string text =
        concatenate({"{\"username\":\"", peer.username, "\",\"peerId\":\"", peer.id, "\","});
    append_existing_peers(text, existing_peers);
    return text;
}

std::string peer_left_message(const PeerName& peer) {
    return concatenate({"{\"peerId\":\"", peer.id, "\",\"username\":\"", peer.username, "\"}"});
}

std::string namesake_left_message(std::string_view peer_id,
                                  std::span<const PeerName> existing_peers) {
    std::string text = concatenate({"{\"peerId\":\"", peer_id, "\",\"username\":\"\","});
    append_existing_peers(text, existing_peers);
    return text;
}

std::string speaking_message(std::string_view peer_id, bool speaking) {
    return concatenate(
        {"{\"peerId\":\"", peer_id, "\",\"speaking\":", speaking ? "true" : "false", "}"});
}

std::string chat_message(std::string_view room_id, std::string_view username,
                         const std::string& message) {
    const std::string escaped = Json(message).dump(-1, ' ', false, Json::error_handler_t::replace);
    return concatenate(
        {"{\"room\":\"", room_id, "\",\"username\":\"", username, "\",\"message\":", escaped, "}"});
}
