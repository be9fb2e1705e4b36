// What velmo-peer is asked to do on its command line. Called by its entry.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

struct PeerOptions {
    bool help = false;
    bool version = false;
    bool list_devices = false;

    std::string server; ///< host or host:port
    std::string room;
    std::string name;

    std::string play_file;
    std::optional<double> tone_hz;
    std::string record_file;
    std::string input_device; ///< an index, or a name or part of one
    std::string output_device;
    std::optional<double> seconds;      ///< until the end by itself
    std::optional<double> report_every; ///< seconds; implies `report`
    bool report = false;
    bool mute = false;
    bool deafen = false;

    bool uses_microphone() const { return play_file.empty() && !tone_hz; }
};

/// Reads the arguments after the program's name. Returns an empty text, or what is wrong with them.
std::string parse_peer_options(std::span<char* const> arguments, PeerOptions& options);

/// The page that --help prints.
std::string_view peer_help_text();

/// True for a room id or a name that the protocol carries: 1 to 63 bytes, no quotation mark, no
/// backslash, no control character (the messages know no escapes).
bool is_protocol_name(std::string_view text);

/// True for a text of any length with none of those characters.
bool is_protocol_text(std::string_view text);
