// velmo-peer: a participant of a voice room for the command line, for tests and for trying a
// server.
#include "peer/peer_program.h"
#include "platform/console.h"

int main(int argc, char** argv) {
    return run_peer_program(console_arguments(argc, argv));
}
