// Feeds bytes to the command reader of velmo-peer.
#include "peer/peer_commands.h"
#include "peer/peer_text.h"

#include <cstdint>
#include <cstdlib>

namespace {

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void check(const std::string& line) {
    expect(line.size() <= 4096);
    const PeerCommand command = parse_peer_command(line);
    if (!command.error.empty()) {
        return;
    }
    expect(command.kind != PeerCommandKind::unknown);
    expect(is_protocol_text(command.argument));
    if (command.kind == PeerCommandKind::join) {
        expect(is_protocol_name(command.argument));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string pending;
    split_peer_lines(pending, {reinterpret_cast<const char*>(data), size}, check);
    check(pending);
    return 0;
}
