// How velmo-peer ends: its exit statuses, one line of text each on standard error.
#pragma once

enum PeerExit : int {
    k_peer_ok = 0,
    k_peer_other = 1,
    k_peer_usage = 2,
    k_peer_cannot_connect = 3,
    k_peer_no_microphone = 4,
    k_peer_bad_wav = 5,
    k_peer_session_ended = 6, ///< by the server
};
