// What the chat server tells: frames turned into records and handed to the main thread in their
// order. Received by the chat connection's thread; the hub registers for them.
#pragma once

#include <cstdint>

struct ChatMessageEvent {
    char room_id[64];
    char space_id[64];
    char sender_display_name[96];
    char text[512];
    char created_at[64]; ///< as the server wrote it
};

struct ChatHistoryEvent {
    char room_id[64];
    char space_id[64];
    char payload[65536]; ///< the whole frame, compact
};

struct ChatStreamEvent {
    char space_id[64];
    char publisher_user_id[64];
    bool is_streaming;
    std::uint32_t run_number; ///< of the channel's run in which it was said
};

// Called on the main thread, with records that live during the call. A new callback replaces the
// old one; an event without one is dropped there. Registered on the main thread.
using ChatRoomsCallback = void (*)();
using ChatMessageCallback = void (*)(const ChatMessageEvent& event);
using ChatHistoryCallback = void (*)(const ChatHistoryEvent& event);
using ChatStreamCallback = void (*)(const ChatStreamEvent& event);
void Chat_SetRoomsCallback(ChatRoomsCallback callback);
void Chat_SetMessageCallback(ChatMessageCallback callback);
void Chat_SetHistoryCallback(ChatHistoryCallback callback);
void Chat_SetStreamCallback(ChatStreamCallback callback);
