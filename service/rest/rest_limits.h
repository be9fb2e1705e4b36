// Every tunable of the REST half in one place, with its unit. Used by all of service/rest.
#pragma once

#include "service/store/wall_time.h"

#include <cstddef>
#include <cstdint>

// --- What a request may be -----------------------------------------------------------------------

constexpr std::size_t k_max_target_bytes = 2048; ///< path and query
constexpr std::size_t k_max_header_bytes = 16 * 1024;
constexpr std::size_t k_max_body_bytes = 64 * 1024;
constexpr std::size_t k_max_space_body_bytes = 8 * 1024 * 1024; ///< a new space, with its picture

// --- What a client can read of an answer ---------------------------------------------------------

constexpr std::size_t k_max_spaces_answer_bytes = 16'000;
constexpr std::size_t k_max_members_answer_bytes = 32'000;

// --- Connections ---------------------------------------------------------------------------------

/// What tests make smaller.
struct RestConnectionLimits {
    std::size_t connections = 512;
    std::size_t bodies_bytes = 64 * 1024 * 1024; ///< of all that are being read
    std::int64_t sweep_ms = 1'000;               ///< between two looks at the times below
    std::int64_t head_ms = 15'000;               ///< from the connection to the end of the head
    std::int64_t body_ms = 30'000;
    std::int64_t space_body_ms = 120'000;
    std::int64_t answer_ms = 120'000; ///< for the client to take it
    /// After a refusal in the middle of a body: so long, or so much of it, is read away. A client
    /// that is still sending would lose the answer otherwise.
    std::int64_t linger_ms = 2'000;
    std::size_t linger_bytes = 16 * 1024 * 1024;
};

// --- Passwords -----------------------------------------------------------------------------------

constexpr int k_password_threads = 2;
constexpr std::size_t k_password_queue = 512;
/// Wrong passwords for one address: ten at once, then one every six seconds. Those that are being
/// checked count.
constexpr int k_wrong_passwords = 10;
constexpr std::int64_t k_wrong_password_ms = 6'000;
constexpr std::size_t k_wrong_password_addresses = 4096; ///< remembered at once

// --- Google sign-in ------------------------------------------------------------------------------

constexpr WallTime k_google_request_ms = 10 * 60 * 1000;
constexpr std::size_t k_google_requests = 1024; ///< at once

constexpr int k_house_keeping_seconds = 600; ///< between two looks for expired sessions
