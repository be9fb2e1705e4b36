// See peer/peer_commands.h.
#include "peer/peer_commands.h"

#include "base/main_thread.h"
#include "base/worker.h"
#include "peer/peer_text.h"
#include "platform/console.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

enum class Argument { none, name, text };

struct CommandRow {
    std::string_view word;
    PeerCommandKind kind;
    Argument argument;
    std::string_view argument_name = "";
};

constexpr CommandRow k_commands[] = {
    {"mute", PeerCommandKind::mute, Argument::none},
    {"unmute", PeerCommandKind::unmute, Argument::none},
    {"deafen", PeerCommandKind::deafen, Argument::none},
    {"undeafen", PeerCommandKind::undeafen, Argument::none},
    {"leave", PeerCommandKind::leave, Argument::none},
    {"join", PeerCommandKind::join, Argument::name, "ROOM"},
    {"input", PeerCommandKind::input, Argument::text, "DEVICE"},
    {"output", PeerCommandKind::output, Argument::text, "DEVICE"},
    {"chat", PeerCommandKind::chat, Argument::text, "TEXT"},
    {"report", PeerCommandKind::report, Argument::none},
    {"help", PeerCommandKind::help, Argument::none},
    {"quit", PeerCommandKind::quit, Argument::none},
};

constexpr std::size_t k_shown_word_max = 40;

std::string_view trim(std::string_view text) {
    constexpr std::string_view k_blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(k_blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(k_blanks) - first + 1);
}

// What the command needs instead; empty when nothing is wrong.
std::string_view argument_error(Argument wanted, std::string_view argument) {
    switch (wanted) {
    case Argument::none:
        return argument.empty() ? "" : "nothing after it";
    case Argument::name:
        return is_protocol_name(argument) ? "" : k_protocol_name_wanted;
    case Argument::text:
        return is_protocol_text(argument) ? "" : k_protocol_text_wanted;
    }
    return "";
}

void read_lines(PeerLineHandler handler) {
    const auto post = [handler](const std::string& line) {
        run_on_main_thread([handler, line] { handler(line); });
    };
    std::string pending;
    std::array<char, 512> bytes;
    while (const std::size_t count = console_read(bytes)) {
        split_peer_lines(pending, {bytes.data(), count}, post);
    }
    if (!pending.empty()) {
        post(pending);
    }
    // Whoever ends the input by hand (Ctrl-D) means the stay. A file or a pipe may well end before,
    // and a terminal that is gone is no terminal any more.
    if (console_input_is_terminal()) {
        post("quit");
    }
}

} // namespace

PeerCommand parse_peer_command(std::string_view line) {
    const std::string_view text = trim(line);
    PeerCommand command;
    if (text.empty()) {
        return command;
    }
    const std::size_t blank = text.find_first_of(" \t");
    const std::string_view word = text.substr(0, blank);
    const auto* const row =
        std::find_if(std::begin(k_commands), std::end(k_commands),
                     [word](const CommandRow& candidate) { return candidate.word == word; });
    if (row == std::end(k_commands)) {
        command.kind = PeerCommandKind::unknown;
        command.error = "unknown command: " + shortened(word, k_shown_word_max) + " (type help)";
        return command;
    }
    command.kind = row->kind;
    if (blank != std::string_view::npos) {
        command.argument = trim(text.substr(blank));
    }
    const bool is_missing = row->argument != Argument::none && command.argument.empty();
    const std::string_view error =
        is_missing ? row->argument_name : argument_error(row->argument, command.argument);
    if (!error.empty()) {
        command.error = std::string(word) + " needs " + std::string(error);
    }
    return command;
}

std::string peer_command_list() {
    std::string list;
    for (const CommandRow& row : k_commands) {
        list.append(list.empty() ? "" : ", ").append(row.word);
        if (!row.argument_name.empty()) {
            list.append(" ").append(row.argument_name);
        }
    }
    return list;
}

bool start_peer_command_reader(PeerLineHandler handler) {
    Worker reader; // lets go of a thread that still reads
    return reader.start([handler](const StopEvent&) { read_lines(handler); });
}
