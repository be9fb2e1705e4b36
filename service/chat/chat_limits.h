// Every tunable of the chat half in one place, with its unit. Used by all of service/chat.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr std::size_t k_max_chat_head_bytes = 16 * 1024; ///< of the request that opens a connection
constexpr std::size_t k_max_chat_text_bytes = 64 * 1024; ///< what a client says at once
constexpr std::size_t k_chat_read_bytes = 16 * 1024; ///< of one client, before others get a turn

/// What the system keeps of what was sent, beside `pending_bytes` below.
constexpr int k_chat_send_buffer_bytes = 256 * 1024;

/// What tests make smaller, or larger.
struct ChatLimits {
    std::size_t connections = 512;
    std::size_t subscriptions = 64; ///< of a connection, the spaces that it has joined among them
    int frames_per_second = 50;     ///< of a connection, in the long run
    int frames_burst = 100;
    std::size_t pending_bytes = 1024 * 1024; ///< not taken by a client; beyond it is dropped
    std::int64_t sweep_ms = 1'000;           ///< between two looks at the times below
    std::int64_t sign_in_ms = 10'000;        ///< from the connection to its sign-in
    std::int64_t ping_ms = 30'000; ///< between two pings; whoever is silent after two is dropped
    std::int64_t close_ms = 2'000; ///< for a client to take the end of the conversation
};
