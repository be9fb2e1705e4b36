// The commands that velmo-peer takes on standard input while it runs. Used by its session.
#pragma once

#include <string>
#include <string_view>

enum class PeerCommandKind {
    none, ///< an empty line
    unknown,
    mute,
    unmute,
    deafen,
    undeafen,
    leave,
    join,
    input,
    output,
    chat,
    report,
    help,
    quit,
};

struct PeerCommand {
    PeerCommandKind kind = PeerCommandKind::none;
    std::string argument; ///< without surrounding blanks
    std::string error;    ///< what is wrong with the line; empty for a good one
};

/// Reads one line, with or without its line break.
PeerCommand parse_peer_command(std::string_view line);

/// All commands with what they take: "mute, unmute, ..., join ROOM, ...".
std::string peer_command_list();

/// Receives each line on the main thread.
using PeerLineHandler = void (*)(const std::string& line);

/// Reads standard input to its end on a thread of its own and hands every line to `handler` on the
/// main thread, and "quit" where a terminal's input ends. The thread is never waited for: a read
/// cannot be called off. False when the system gives no thread.
bool start_peer_command_reader(PeerLineHandler handler);

/// Splits `bytes` into lines that follow `pending`, an unfinished line, and hands each to `take`.
/// What lies beyond the longest possible command is cut off.
template <typename Take>
void split_peer_lines(std::string& pending, std::string_view bytes, Take take) {
    constexpr std::size_t k_line_bytes_max = 4096;
    for (const char c : bytes) {
        if (c == '\n') {
            take(pending);
            pending.clear();
        } else if (pending.size() < k_line_bytes_max) {
            pending += c;
        }
    }
}
