// What the service stores at most, in one place, with units. Used by service/store and by what
// judges requests.
#pragma once

#include <cstddef>
#include <cstdint>

// --- What the client's tables hold ---------------------------------------------------------------

constexpr std::int64_t k_max_spaces_of_account = 32;
constexpr std::int64_t k_max_rooms_of_space = 32;
constexpr std::int64_t k_max_members_of_space = 256;

// --- Texts ---------------------------------------------------------------------------------------

constexpr std::size_t k_min_name_characters = 2;
constexpr std::size_t k_max_name_characters = 64; ///< names of spaces and rooms
constexpr std::size_t k_max_name_bytes_stored = 128;
/// A client's field holds this much of a name: it confirms a longer one so cut.
constexpr std::size_t k_client_name_bytes = 63;
constexpr std::size_t k_max_username_bytes = 32;
constexpr std::size_t k_max_email_bytes = 126; ///< what a client sends of one
constexpr std::size_t k_min_password_characters = 12;
constexpr std::size_t k_max_password_bytes = 255;
constexpr std::size_t k_max_message_bytes = 2046; ///< what a client lets the user type
constexpr std::size_t k_max_image_bytes = 5 * 1024 * 1024;

// --- Other counts --------------------------------------------------------------------------------

constexpr std::int64_t k_max_invitations_of_space = 256; ///< waiting ones
constexpr std::int64_t k_max_sessions_of_account = 256;  ///< beyond it the oldest end
constexpr int k_max_page_messages = 100;
