// WinHTTP's numbers for what goes wrong with a web socket: both halves tell them. Private to this
// folder.
#pragma once

#include <cstdint>

constexpr std::uint32_t k_web_code_no_memory = 8;
constexpr std::uint32_t k_web_code_invalid_argument = 87;
constexpr std::uint32_t k_web_code_timeout = 12002;
constexpr std::uint32_t k_web_code_internal = 12004;
constexpr std::uint32_t k_web_code_invalid_address = 12005;
constexpr std::uint32_t k_web_code_name_not_resolved = 12007;
constexpr std::uint32_t k_web_code_cancelled = 12017;
constexpr std::uint32_t k_web_code_cannot_connect = 12029;
constexpr std::uint32_t k_web_code_connection_error = 12030;
constexpr std::uint32_t k_web_code_invalid_response = 12152;
constexpr std::uint32_t k_web_code_secure_failure = 12175;
