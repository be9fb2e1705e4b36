// See service/store/random_text.h.
#include "service/store/random_text.h"

#include "base/ascii.h"

#include <sodium.h>

#include <algorithm>

namespace {

// Both have 32 characters, so that a byte's remainder favours none.
constexpr std::string_view k_id_alphabet = "abcdefghijklmnopqrstuvwxyz234567";
constexpr std::string_view k_code_alphabet = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
static_assert(k_id_alphabet.size() == 32 && k_code_alphabet.size() == 32);

std::string random_text(std::string_view alphabet, std::size_t length) {
    std::string text(length, '\0');
    randombytes_buf(text.data(), text.size());
    for (char& character : text) {
        character = alphabet[static_cast<unsigned char>(character) % alphabet.size()];
    }
    return text;
}

bool is_of(std::string_view text, std::string_view alphabet, std::size_t length) {
    return text.size() == length && text.find_first_not_of(alphabet) == std::string_view::npos;
}

} // namespace

std::string random_id() {
    return random_text(k_id_alphabet, k_id_length);
}

std::string random_secret() {
    return random_text(k_id_alphabet, k_secret_length);
}

std::string random_token() {
    std::array<unsigned char, 32> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    std::array<char, k_token_length + 1> text{};
    sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(),
                      sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    return text.data();
}

std::string random_invite_code() {
    return random_text(k_code_alphabet, k_code_characters);
}

bool is_id(std::string_view text) {
    return is_of(text, k_id_alphabet, k_id_length);
}

bool is_secret(std::string_view text) {
    return is_of(text, k_id_alphabet, k_secret_length);
}

std::string shown_invite_code(std::string_view code) {
    std::string shown;
    for (std::size_t i = 0; i < code.size(); ++i) {
        if (i > 0 && i % 4 == 0) {
            shown += '-';
        }
        shown += code[i];
    }
    return shown;
}

std::string typed_invite_code(std::string_view typed) {
    std::string code;
    for (const char character : typed) {
        if (character == '-' || character == ' ') {
            continue;
        }
        code += ascii_upper(character);
        if (code.size() > k_code_characters) {
            return {};
        }
    }
    return is_of(code, k_code_alphabet, k_code_characters) ? code : std::string();
}

TokenHash hash_of_token(std::string_view token) {
    TokenHash hash{};
    crypto_generichash(hash.data(), hash.size(),
                       reinterpret_cast<const unsigned char*>(token.data()), token.size(), nullptr,
                       0);
    return hash;
}
