// See backend/http_transport.h.
#include "backend/http_transport.h"

#include "backend/web_address_internal.h"
#include "base/text.h"
#include "platform/web_exchange.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

// In UTF-16 units: a buffer of 512 (1,024) less its NUL.
constexpr std::size_t k_address_units_max = 511;
constexpr std::size_t k_binary_address_units_max = 1023;

// A read never asks for more than is there, so it never waits.
constexpr std::size_t k_chunk_size = 512;

WebExchangePtr open_exchange(WebRequest request, std::size_t units_max) {
    const std::optional<std::string> address = web_address(request.url, units_max);
    if (!address) {
        return nullptr;
    }
    request.url = address->c_str();
    return web_exchange_open(request);
}

void read_status(const WebExchange& exchange, std::uint32_t* status) {
    if (const std::optional<std::uint32_t> code = web_exchange_status(exchange)) {
        *status = *code;
    }
}

void read_text(WebExchange& exchange, std::span<char> out) {
    if (out.empty()) {
        return;
    }
    out[0] = '\0';
    const std::size_t room = out.size() - 1;
    std::size_t held = 0;
    do {
        const std::size_t available = web_exchange_available(exchange).value_or(0);
        if (available == 0) {
            return;
        }
        char chunk[k_chunk_size];
        const std::size_t wanted = std::min(available, k_chunk_size - 1);
        const std::size_t read = web_exchange_read(exchange, std::span(chunk, wanted)).value_or(0);
        if (read == 0) {
            return;
        }
        copy_text(out.data() + held, out.size() - held, std::string_view(chunk, read));
        held = std::min(held + read, room);
    } while (held < room);
}

bool exchange_text(const WebRequest& request, std::uint32_t* status, std::span<char> out) {
    const WebExchangePtr exchange = open_exchange(request, k_address_units_max);
    if (!exchange) {
        return false;
    }
    read_status(*exchange, status);
    read_text(*exchange, out);
    return true;
}

bool exchange_json(const char* method, const char* url, const char* body, std::uint32_t* status,
                   std::span<char> out) {
    return exchange_text({.method = method, .url = url, .body = body, .has_body = true}, status,
                         out);
}

// Below it, nothing that is added or doubled runs over.
constexpr std::size_t k_block_max = std::numeric_limits<std::ptrdiff_t>::max();

/// Doubles the block's capacity until it holds `need` bytes, k_block_max at most; a first block
/// starts at `need`.
bool grow_block(ByteBlock& block, std::size_t& capacity, std::size_t need) {
    std::size_t grown = capacity > 0 ? capacity : need;
    while (grown < need) {
        grown *= 2;
    }
    void* const moved = std::realloc(block.get(), grown);
    if (moved == nullptr) {
        return false;
    }
    static_cast<void>(block.release()); // realloc has taken it
    block.reset(static_cast<std::uint8_t*>(moved));
    capacity = grown;
    return true;
}

bool read_block(WebExchange& exchange, ByteBlock& block, std::size_t& held) {
    std::size_t capacity = 0;
    while (const std::size_t available = web_exchange_available(exchange).value_or(0)) {
        if (available > k_block_max - held) {
            return false;
        }
        if (held + available > capacity && !grow_block(block, capacity, held + available)) {
            return false;
        }
        char* const end = reinterpret_cast<char*>(block.get()) + held;
        const std::optional<std::size_t> read =
            web_exchange_read(exchange, std::span(end, available));
        if (!read) {
            return false;
        }
        if (*read == 0) {
            break;
        }
        held += *read;
    }
    if (held == 0) {
        block.reset();
    }
    return true;
}

} // namespace

bool http_get(const char* url, std::uint32_t* status, std::span<char> out) {
    return exchange_text({.method = "GET", .url = url}, status, out);
}

bool http_post_json(const char* url, const char* body, std::uint32_t* status, std::span<char> out) {
    return body != nullptr && exchange_json("POST", url, body, status, out);
}

bool http_delete_json(const char* url, const char* body, std::uint32_t* status,
                      std::span<char> out) {
    return exchange_json("DELETE", url, body != nullptr ? body : "{}", status, out);
}

void FreeBlock::operator()(void* block) const {
    std::free(block);
}

bool http_get_binary(const char* url, std::uint32_t* status, ByteBlock* data, std::uint64_t* size) {
    if (url == nullptr || status == nullptr || data == nullptr || size == nullptr) {
        return false;
    }
    data->reset();
    *size = 0;
    *status = 0;
    const WebExchangePtr exchange =
        open_exchange({.method = "GET", .url = url}, k_binary_address_units_max);
    if (!exchange) {
        return false;
    }
    read_status(*exchange, status);
    ByteBlock block;
    std::size_t held = 0;
    if (!read_block(*exchange, block, held)) {
        return false;
    }
    *data = std::move(block);
    *size = held;
    return true;
}
