// Fuzzes the voice service's texts: any bytes as a join request and as a chat line, and what is
// written from what was read.
#include "fuzz/require.h"

#include "service/voice/voice_limits.h"
#include "service/voice/voice_messages.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

namespace {

using Json = nlohmann::json;

/// The first value of `key` as clients find it.
std::string scan(const std::string& text, const std::string& key) {
    const std::string pattern = "\"" + key + "\":\"";
    const std::size_t begin = text.find(pattern);
    require(begin != std::string::npos);
    const std::size_t end = text.find('"', begin + pattern.size());
    require(end != std::string::npos);
    return text.substr(begin + pattern.size(), end - begin - pattern.size());
}

void check_join(const JoinRequest& request) {
    require(is_plain_name(request.room_id) && is_plain_name(request.username));
    const PeerName joined{"p1", request.username};
    const PeerName other{"p2", request.room_id}; // any plain name is a user name
    const std::string confirmation =
        join_confirmation(joined, request.room_id, std::span(&other, 1));
    const Json parsed = Json::parse(confirmation, nullptr, false);
    require(parsed.is_object() && parsed["roomId"] == request.room_id &&
            parsed["existingPeers"][0]["username"] == request.room_id);
    require(scan(confirmation, "username") == request.username);
    require(scan(confirmation, "peerId") == "p1" && scan(confirmation, "id") == "p2");
    require(scan(peer_announcement(joined, std::span(&other, 1)), "username") == request.username);
    require(scan(peer_left_message(joined), "username") == request.username);
    require(scan(namesake_left_message("p1", std::span(&other, 1)), "username").empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto request = parse_join_request(text)) {
        check_join(*request);
    }
    if (const auto message = parse_chat_message(text)) {
        const Json parsed = Json::parse(chat_message("room", "ana", *message), nullptr, false);
        require(parsed.is_object() && parsed["message"].is_string());
    }
    return 0;
}
