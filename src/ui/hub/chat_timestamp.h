// When a chat message was written, as its row shows it. Called by the hub's chat; without GTK.
#pragma once

#include <cstddef>

constexpr std::size_t k_chat_timestamp_size = 32;

/// The local time: "2024-05-01-10:20:30".
void format_chat_timestamp_now(char (&timestamp)[k_chat_timestamp_size]);

/// The same for a time as servers write it, without fractions and zone: what the server says is
/// shown, in its own zone. A text that is no time, or null, stands for now.
void format_chat_timestamp_from_iso(const char* iso, char (&timestamp)[k_chat_timestamp_size]);
