// The command line of the local service. Called by its entry.
#pragma once

#include <cstdint>
#include <string>

struct ServiceOptions {
    std::string host = "127.0.0.1";
    std::uint16_t voice_port = 3602;
    std::uint16_t rest_port = 3600;
    std::uint16_t chat_port = 3603;
    std::string data_folder; ///< empty: the one of the user's application data
    bool demo = false;
    int session_hours = 30 * 24;
    bool verbose = false;
    bool show_help = false;
    bool show_version = false;
};

/// Reads the arguments into `options`. False, with a sentence for people in `error`, for anything
/// it does not know. Leaves `argv` as it is.
bool parse_service_options(int argc, const char* const* argv, ServiceOptions& options,
                           std::string& error);

/// `options.data_folder`, or the default one.
std::string data_folder_of(const ServiceOptions& options);

/// What --help prints.
std::string service_help();
