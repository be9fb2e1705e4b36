// The command line of the local service. Called by its entry.
#pragma once

#include <cstdint>
#include <string>

struct ServiceOptions {
    std::string host = "127.0.0.1";
    std::uint16_t voice_port = 3602;
    bool verbose = false;
    bool show_help = false;
    bool show_version = false;
};

/// Reads the arguments into `options`. False, with a sentence for people in `error`, for anything
/// it does not know. Leaves `argv` as it is.
bool parse_service_options(int argc, const char* const* argv, ServiceOptions& options,
                           std::string& error);

/// What --help prints.
std::string service_help();
