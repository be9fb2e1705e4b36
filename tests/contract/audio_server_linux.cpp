// How the audio contract tests reach the sound server's machine, natively.
#include "contract/audio_support.h"

#include <cstdlib>

bool lists_hold_cards_only() {
    return true;
}

bool run_on_host(const std::string& command) {
    return std::system(command.c_str()) == 0; // NOLINT: the test's own command
}
