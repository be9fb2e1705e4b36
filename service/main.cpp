// The local service from entry to exit: options, voice, and an orderly end on Ctrl-C or SIGTERM.
#include "service/service_options.h"
#include "service/voice/voice_server.h"

#include <csignal>
#include <cstdio>
#include <string>

namespace {

// Blocks the signals that end the service in this thread and all it starts, so that only
// wait_for_end takes them.
sigset_t block_ending_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void wait_for_end(const sigset_t& signals) {
    int signal_number = 0;
    sigwait(&signals, &signal_number);
}

void log_line(const char* line) {
    std::fprintf(stderr, "%s\n", line);
}

} // namespace

int main(int argc, char** argv) {
    ServiceOptions options;
    std::string error;
    if (!parse_service_options(argc, argv, options, error)) {
        std::fprintf(stderr, "velmo-service: %s (--help tells the options)\n", error.c_str());
        return 2; // a wrong command line, as everywhere in this project
    }
    if (options.show_help) {
        std::printf("%s", service_help().c_str());
        return 0;
    }
    if (options.show_version) {
        std::printf("velmo-service %s\n", VELMO_VERSION);
        return 0;
    }

    const sigset_t signals = block_ending_signals();
    VoiceServer voice;
    const VoiceServerOptions voice_options{options.host, options.voice_port,
                                           options.verbose ? log_line : nullptr};
    if (!voice.start(voice_options, error)) {
        std::fprintf(stderr, "velmo-service: %s\n", error.c_str());
        return 1;
    }
    std::printf("voice: listening on %s:%u\n", options.host.c_str(),
                unsigned{voice.address().port});
    std::fflush(stdout);

    wait_for_end(signals);
    voice.stop();
    return 0;
}
