// Says anything to the chat channel, in any parts, and holds what it hears to a plain reading of
// the frames. The input holds steps, set apart by byte 28: a letter that says how ("m" a message or
// its last part, "f" a part, "b" binary, "a" an address to take apart), then the bytes.
#include "base/text.h"
#include "chat/chat_address.h"
#include "chat/chat_connection.h"
#include "chat/chat_events.h"
#include "chat/chat_internal.h"
#include "support/fake_web_socket.h"
#include "support/reference_json_scan.h"
#include "unit/core/fake_main_queue.h"

#include "backend/hub_tables.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

constexpr const char* k_space = "s-1";

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::string g_heard;

template <std::size_t Size>
std::string content(const char (&text)[Size]) {
    const char* const end = std::find(text, text + Size, '\0');
    expect(end != text + Size);
    return {text, end};
}

// ---- the plain reading

template <std::size_t Size>
std::string value_of(const char* frame, const char* key) {
    char out[Size]{};
    reference_string_field(frame, key, out);
    return content(out);
}

/// What a message of these bytes makes the main thread hear; `joined` is the space of the last word
/// about it.
std::string reading_of(const std::string& bytes, bool& is_ready, std::string& joined) {
    std::vector<char> compact(k_chat_message_max);
    reference_compact(bytes.substr(0, k_chat_message_max - 1).c_str(), compact);
    const char* const frame = compact.data();
    const std::string type = value_of<64>(frame, "type");
    const std::string room = value_of<64>(frame, "roomId");
    const std::string space = value_of<64>(frame, "spaceId");
    if (type == "auth:ok") {
        is_ready = true;
        joined.clear();
    } else if (type == "chat:joined") {
        joined = space.empty() ? joined : space;
    } else if (type == "rooms:snapshot" || type == "room:created" || type == "room:deleted") {
        return std::string(frame).find(k_space) != std::string::npos ? "rooms\n" : "";
    } else if (type == "message:new") {
        const std::string text = value_of<512>(frame, "text");
        if ((room.empty() && space.empty()) || text.empty()) {
            return "";
        }
        return "message " + room + "|" + space + "|" + value_of<96>(frame, "senderDisplayName") +
               "|" + text + "|" + value_of<64>(frame, "createdAt") + "\n";
    } else if (type == "messages:history") {
        return room.empty() && space.empty() ? ""
                                             : "history " + room + "|" + space + "|" + frame + "\n";
    } else if (type == "stream:status") {
        const std::string publisher = value_of<64>(frame, "publisherUserId");
        bool is_streaming = false;
        reference_bool_field(frame, "isStreaming", &is_streaming);
        if (!space.empty() && !publisher.empty()) {
            return "stream " + space + "|" + publisher + (is_streaming ? "|on\n" : "|off\n");
        }
    }
    return "";
}

void check_address(const std::string& url) {
    ChatAddress address;
    if (!parse_chat_ws_url(url.c_str(), address)) {
        return;
    }
    const std::string host = content(address.host);
    const std::string path = content(address.path);
    expect(!host.empty() && host.size() <= 319 && host.find('/') == std::string::npos);
    expect(address.port != 0);
    expect(!path.empty() && path[0] == '/');
    expect(url.find(host) != std::string::npos);
    expect(path == "/" || url.find(path) != std::string::npos);
    expect(address.is_secure == url.starts_with("wss://"));
}

void register_callbacks() {
    Chat_SetRoomsCallback([] { g_heard += "rooms\n"; });
    Chat_SetMessageCallback([](const ChatMessageEvent& event) {
        g_heard += "message " + content(event.room_id) + "|" + content(event.space_id) + "|" +
                   content(event.sender_display_name) + "|" + content(event.text) + "|" +
                   content(event.created_at) + "\n";
    });
    Chat_SetHistoryCallback([](const ChatHistoryEvent& event) {
        g_heard += "history " + content(event.room_id) + "|" + content(event.space_id) + "|" +
                   content(event.payload) + "\n";
    });
    Chat_SetStreamCallback([](const ChatStreamEvent& event) {
        g_heard += "stream " + content(event.space_id) + "|" + content(event.publisher_user_id) +
                   (event.is_streaming ? "|on\n" : "|off\n");
    });
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Folders in their places keep the logs' files from being opened for every line.
    std::error_code ignored;
    std::filesystem::create_directory("velmotalk_debug.log", ignored);
    std::filesystem::create_directory("hub_click_debug.log", ignored);
    fake_main_queue_install();
    copy_text(g_selected_space_id, k_space);
    register_callbacks();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeWebSocketServer server;
    WebSocketFailure failure{};
    const WebSocketPtr socket =
        web_socket_open({.host = "h", .port = 1, .path = "/", .is_secure = false}, failure);
    ChatRun run = chat_ws_begin_run();
    ChatReceiver receiver(run);

    std::string message;
    std::string expected;
    bool is_ready = false;
    std::string joined;
    g_heard.clear();
    std::size_t parts = 0;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\x1C'), rest.size());
        const char how = end > 0 ? rest[0] : 'm';
        const std::string text(rest.substr(std::min<std::size_t>(1, end), end > 0 ? end - 1 : 0));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        parts = std::max<std::size_t>(1, (text.size() + k_chat_chunk_size - 1) / k_chat_chunk_size);
        if (how == 'a') {
            check_address(text);
            continue;
        }
        if (how == 'b') {
            server.say_binary(text);
        } else if (how == 'f') {
            server.say_fragment(text);
            message += text;
        } else {
            server.say(text);
            expected += reading_of(message + text, is_ready, joined);
            message.clear();
        }
        for (std::size_t i = 0; i < parts; ++i) {
            expect(receiver.receive(*socket));
        }
    }
    expect(g_heard == expected);
    expect(run.was_ready == is_ready);
    expect(chat_ws_has_joined(joined.c_str()) == !joined.empty());
    server.say_close();
    expect(!receiver.receive(*socket) && receiver.error() == 0);
    return 0;
}
