// The thread of the chat connection: from the address over the introduction to the last message.
// Started by chat_connection.cpp.
#include "backend/json_scan.h"
#include "base/text.h"
#include "chat/chat_address.h"
#include "chat/chat_frame_internal.h"
#include "chat/chat_internal.h"
#include "chat/hub_click_log.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::uint32_t k_pass_wait_ms = 10;
constexpr std::uint32_t k_error_invalid_name = 123; ///< the system's, for an address that is none

/// What is written down about a connection that came to nothing.
struct Progress {
    const char* stage = "init";
    std::uint32_t error = 0;   ///< the system's, of a stage that failed
    std::uint32_t receive = 0; ///< the system's, of the receive that ended the loop
};

ChatSocket open_socket(const ChatRun& run, const StopEvent& stop, Progress& progress) {
    progress.stage = "parse-url";
    ChatAddress address;
    if (!parse_chat_ws_url(run.url, address)) {
        progress.error = k_error_invalid_name;
        return nullptr;
    }
    append_hub_click_log("[HUB][CHAT][WS] connecting host=%s port=%u path=%s secure=%d",
                         address.host, unsigned{address.port}, address.path,
                         address.is_secure ? 1 : 0);
    WebSocketFailure failure{"open-session", 0};
    WebSocketPtr socket = web_socket_open({.host = address.host,
                                           .port = address.port,
                                           .path = address.path,
                                           .is_secure = address.is_secure},
                                          failure, &stop);
    progress.stage = socket != nullptr ? "complete-upgrade" : failure.stage;
    progress.error = socket != nullptr ? 0 : failure.code;
    return socket;
}

/// Who this is, and what it wants to hear of.
std::vector<std::string> introduction_of(const ChatRun& run) {
    std::vector<std::string> texts;
    texts.emplace_back(ChatFrame<k_frame_auth>(run.session_token).text());
    for (const char* channel : {"spaceRooms", "spaceMessages"}) {
        texts.emplace_back(
            ChatFrame<k_frame_follow_space>(channel, run.space_id, run.session_token).text());
    }
    return texts;
}

/// Follows the room that the hub wants, looking for it once for each part of a message: a new one
/// waits for the next.
class RoomFollower {
  public:
    void follow(const ChatSocket& socket) {
        char wanted[sizeof m_followed];
        chat_ws_read_room(wanted);
        if (is_empty(wanted) || std::strcmp(wanted, m_followed) == 0) {
            return;
        }
        const ChatFrame<k_frame_follow_room> frame("roomMessages", wanted);
        if (chat_ws_send_json(socket, frame.text())) {
            copy_text(m_followed, wanted);
        }
    }

  private:
    char m_followed[64] = "";
};

void log_failure(const ChatRun& run, const Progress& progress) {
    append_hub_click_log(
        "[HUB][CHAT][WS] failed stage=%s lastError=%lu hr=0x%08lx url=%s spaceId=%s",
        progress.stage, static_cast<unsigned long>(progress.error),
        static_cast<unsigned long>(progress.receive), run.url, run.space_id);
}

/// Says who this is. False when that failed, or the run was let go of while it connected.
bool introduce(const ChatRun& run, const StopEvent& stop, const ChatSocket& socket,
               Progress& progress) {
    const ChatPublishing published = chat_ws_publish(run, stop, socket, introduction_of(run));
    if (published != ChatPublishing::let_go) {
        progress.stage = "send-auth-subscribe";
    }
    return published == ChatPublishing::introduced;
}

void receive_all(ChatRun& run, const StopEvent& stop, const ChatSocket& socket,
                 Progress& progress) {
    progress.stage = "receive-loop";
    RoomFollower follower;
    ChatReceiver receiver(run);
    do {
        if (stop.wait_ms(k_pass_wait_ms)) {
            break;
        }
        follower.follow(socket);
    } while (receiver.receive(*socket));
    progress.receive = receiver.error();
}

} // namespace

ChatReceiver::ChatReceiver(ChatRun& run)
    : m_run(run), m_chunk(k_chat_chunk_size), m_compact(k_chat_message_max) {}

bool ChatReceiver::receive(WebSocket& socket) {
    const WebSocketReceived part = web_socket_receive(socket, m_chunk);
    switch (part.event) {
    case WebSocketEvent::failed:
        m_error = part.code;
        return false;
    case WebSocketEvent::closed:
        return false;
    case WebSocketEvent::binary:
        return true;
    case WebSocketEvent::text_fragment:
    case WebSocketEvent::text_message:
        break;
    }
    const std::size_t left = k_chat_message_max - 1 - m_message.size();
    m_message.append(m_chunk.data(), std::min(part.size, left));
    if (part.event == WebSocketEvent::text_message) {
        compact_json_for_scan(m_message.c_str(), m_compact);
        handle_chat_frame(m_run, m_compact.data());
        m_message.clear();
    }
    return true;
}

void run_chat_connection(ChatRun& run, const StopEvent& stop) {
    Progress progress;
    const ChatSocket socket = open_socket(run, stop, progress);
    if (socket != nullptr && introduce(run, stop, socket, progress)) {
        append_hub_click_log("[HUB][CHAT][WS] connected url=%s spaceId=%s", run.url, run.space_id);
        receive_all(run, stop, socket, progress);
    }
    if (!run.was_ready) {
        log_failure(run, progress);
    }
    chat_ws_withdraw(run, socket);
}
