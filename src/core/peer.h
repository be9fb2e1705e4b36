// One peer of the current voice room, as the core keeps it and the interface shows it.
#pragma once

struct Peer {
    char id[64];            ///< the server's id, may be empty
    char username[64];      ///< may be cut inside a UTF-8 character
    unsigned char speaking; ///< 0 or 1
};

constexpr int k_max_peers = 32;
