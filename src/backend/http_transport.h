// Blocking HTTP requests of the REST calls. Each opens a connection of its own and closes it again;
// nothing is kept, retried or sent beside what is said here. Any thread.
//
// The result tells whether an answer arrived, whatever its status; without one it is false and
// `status` (never null) stays as the caller set it. An address of more than 511 UTF-16 units (1,023
// for a binary body) is not understood.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

/// GET. The body goes into `out`, cut to its size less one and NUL-terminated; an empty `out` takes
/// nothing. A body that ends early is no failure.
bool http_get(const char* url, std::uint32_t* status, std::span<char> out);

/// POST of a JSON body, not null.
bool http_post_json(const char* url, const char* body, std::uint32_t* status, std::span<char> out);

/// DELETE with a JSON body; null is sent as "{}".
bool http_delete_json(const char* url, const char* body, std::uint32_t* status,
                      std::span<char> out);

struct FreeBlock {
    void operator()(void* block) const;
};

/// A block from malloc.
using ByteBlock = std::unique_ptr<std::uint8_t[], FreeBlock>;

/// GET of a whole body of any length into a new block; an empty body gives a null block. Clears
/// `data`, `size` and `status` first, none of which is null. False when there was no answer or a
/// read failed.
bool http_get_binary(const char* url, std::uint32_t* status, ByteBlock* data, std::uint64_t* size);
