// One request to the backend as a row of a table, and the one function that carries it out. For the
// authentication, the spaces API and the chat. Main thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

enum class CallMethod { get, post, delete_json };

/// A member of a request's body; its value is cut to `escaped_size` - 1 bytes after escaping.
struct BodyMember {
    const char* key; ///< null: none
    std::size_t escaped_size;
};

constexpr std::size_t k_body_members_max = 2;

struct BackendCall {
    CallMethod method;
    const char* address;       ///< each "%s" takes the next name, the first the backend's address
    std::size_t address_size;  ///< with the NUL; a longer one is not sent
    const char* older_address; ///< asked once more when `address` answers 404; null: none
    BodyMember body[k_body_members_max];
    std::size_t body_size; ///< with the NUL; a longer one is not sent
    std::size_t answer_size;
    std::uint32_t success[2]; ///< statuses; 0: none
    const char* unreachable;  ///< what the user reads when nobody answered
    const char* refused;      ///< the same for any other status without an "error" of its own
    /// Whether the status alone tells why a call failed: an answer without one counts as none, and
    /// its "error" is not read.
    bool status_alone_counts = false;
};

// The buffers that all calls share.
constexpr std::size_t k_address_size_max = 1024;
constexpr std::size_t k_body_size_max = 2048;
constexpr std::size_t k_escaped_size_max = 512;
constexpr std::size_t k_answer_size_max = 65536;

/// Whether no size of these calls exceeds the shared buffers; where a call is written down, it is
/// asserted.
constexpr bool fit_shared_buffers(std::initializer_list<BackendCall> calls) {
    return std::ranges::all_of(calls, [](const BackendCall& call) {
        return call.address_size <= k_address_size_max && call.body_size <= k_body_size_max &&
               call.answer_size <= k_answer_size_max &&
               std::ranges::all_of(call.body, [](const BodyMember& member) {
                   return member.escaped_size <= k_escaped_size_max;
               });
    });
}

/// Carries out `call` and returns its answer, NUL-terminated, which stays until the next call. Null
/// for a failure, whose sentence stands in `error` then.
///
/// `names` stand in the address as they are, `values` in the body, escaped; null is an empty text.
const char* perform_call(const BackendCall& call, std::initializer_list<const char*> names,
                         std::initializer_list<const char*> values, std::span<char> error);

/// The same with a body that is ready; no null.
const char* perform_call_with_body(const BackendCall& call,
                                   std::initializer_list<const char*> names, const char* body,
                                   std::span<char> error);
