// What the children of the file replacement's tests do; called by their main. Each returns its exit
// status.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// A text that tells a whole save from a part of one or a mixture of two.
std::string version_text(std::uint32_t version);

/// The version that `text` is, or 0 when it is not one whole.
std::uint32_t version_of(std::string_view text);

constexpr int k_saved = 0;
constexpr int k_not_saved = 1;
constexpr int k_not_possible = 77; ///< this system or user cannot show it

/// Saves ever newer versions from `first` on, until killed or a save fails.
int save_for_ever(const char* path, std::uint32_t first);

/// Saves `version` once.
int save_once(const char* path, std::uint32_t version);
