// See peer/peer_program.h.
#include "peer/peer_program.h"

#include "audio/audio_devices.h"
#include "audio/audio_engine.h"
#include "peer/peer_commands.h"
#include "peer/peer_devices.h"
#include "peer/peer_exit.h"
#include "peer/peer_loop.h"
#include "peer/peer_options.h"
#include "peer/peer_output.h"
#include "peer/peer_session.h"
#include "peer/peer_text.h"
#include "platform/console.h"

#include <cstdio>

namespace {

int list_devices() {
    if (Audio_IsServiceMissing() != 0) {
        peer_complain("%s", k_no_sound_service);
        return k_peer_other;
    }
    if (Audio_Init() == 0) {
        peer_complain("the sound system cannot be used");
        return k_peer_other;
    }
    print_peer_devices();
    Audio_Cleanup();
    return k_peer_ok;
}

} // namespace

int run_peer_program(std::span<const std::string> arguments) {
    PeerOptions options;
    const std::string error = parse_peer_options(arguments, options);
    if (!error.empty()) {
        peer_complain("%s (--help tells more)", printable(error).c_str());
        return k_peer_usage;
    }
    if (options.help) {
        console_write(stdout, peer_help_text());
        return k_peer_ok;
    }
    if (options.version) {
        peer_print("velmo-peer %s", VELMO_VERSION);
        return k_peer_ok;
    }
    if (options.list_devices) {
        return list_devices();
    }
    peer_loop_install();
    peer_loop_catch_signals();
    if (!start_peer_command_reader(run_peer_command_line)) {
        peer_complain("no thread to read commands");
    }
    const int status = run_peer_session(options);
    peer_loop_uninstall();
    return status;
}
