// What velmo-peer is asked to do on its command line. Called by its entry.
#pragma once

#include <cstdint>
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
std::string parse_peer_options(std::span<const std::string> arguments, PeerOptions& options);

struct PeerServer {
    std::string host;
    std::uint16_t port;
};

/// Takes HOST or HOST:PORT apart. Empty for anything else.
std::optional<PeerServer> parse_peer_server(std::string_view text);

/// The page that --help prints.
std::string_view peer_help_text();
