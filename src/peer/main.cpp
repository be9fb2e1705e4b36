// velmo-peer: a participant of a voice room for the command line, for tests and for trying a
// server.
#include "peer/peer_program.h"

#include <span>

int main(int argc, char** argv) {
    const std::span<char*> arguments(argv, static_cast<std::size_t>(argc));
    return run_peer_program(arguments.empty() ? arguments : arguments.subspan(1));
}
