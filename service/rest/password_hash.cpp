// See service/rest/password_hash.h.
#include "service/rest/password_hash.h"

#include <sodium.h>

#include <array>
#include <cstdio>
#include <optional>
#include <string_view>
#include <tuple>

namespace {

struct StoredHash {
    PasswordCost cost;
    std::array<unsigned char, crypto_pwhash_SALTBYTES> salt{};
    std::array<unsigned char, 32> key{};
};

template <std::size_t Size>
bool decode(std::string_view text, std::array<unsigned char, Size>& bytes) {
    std::size_t size = 0;
    return sodium_base642bin(bytes.data(), Size, text.data(), text.size(), nullptr, &size, nullptr,
                             sodium_base64_VARIANT_ORIGINAL_NO_PADDING) == 0 &&
           size == Size;
}

// $argon2id$v=19$m=KIBIBYTES,t=PASSES,p=1$SALT$KEY
std::optional<StoredHash> read_hash(const std::string& text) {
    unsigned kibibytes = 0;
    unsigned passes = 0;
    int head = 0;
    if (std::sscanf(text.c_str(), "$argon2id$v=19$m=%9u,t=%9u,p=1$%n", &kibibytes, &passes,
                    &head) != 2 ||
        head == 0) {
        return std::nullopt;
    }
    const std::string_view tail = std::string_view(text).substr(static_cast<std::size_t>(head));
    const std::size_t end_of_salt = tail.find('$');
    StoredHash hash;
    hash.cost = {passes, std::size_t{kibibytes} * 1024};
    if (end_of_salt == std::string_view::npos || !decode(tail.substr(0, end_of_salt), hash.salt) ||
        !decode(tail.substr(end_of_salt + 1), hash.key)) {
        return std::nullopt;
    }
    return hash;
}

} // namespace

std::string hash_password(const std::string& password, PasswordCost cost) {
    std::array<char, crypto_pwhash_STRBYTES> hash{};
    const bool is_made =
        crypto_pwhash_str_alg(hash.data(), password.data(), password.size(), cost.passes,
                              cost.memory_bytes, crypto_pwhash_ALG_ARGON2ID13) == 0;
    return is_made ? hash.data() : "";
}

// The library's own check says of a want of memory that the password is wrong.
PasswordCheck check_password(const std::string& password, const std::string& hash) {
    const std::optional<StoredHash> stored = read_hash(hash);
    if (!stored) {
        return PasswordCheck::wrong;
    }
    std::array<unsigned char, std::tuple_size_v<decltype(stored->key)>> key{};
    if (crypto_pwhash(key.data(), key.size(), password.data(), password.size(), stored->salt.data(),
                      stored->cost.passes, stored->cost.memory_bytes,
                      crypto_pwhash_ALG_ARGON2ID13) != 0) {
        return PasswordCheck::failed;
    }
    const bool is_same = sodium_memcmp(key.data(), stored->key.data(), key.size()) == 0;
    sodium_memzero(key.data(), key.size());
    return is_same ? PasswordCheck::fits : PasswordCheck::wrong;
}
