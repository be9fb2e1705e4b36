// Puts SQL statements together while they are compiled, so that what several have in common stands
// once. Used by service/store.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

/// Both literals as one text.
template <std::size_t HeadSize, std::size_t TailSize>
constexpr std::array<char, HeadSize + TailSize - 1> sql_text(const char (&head)[HeadSize],
                                                             const char (&tail)[TailSize]) {
    std::array<char, HeadSize + TailSize - 1> text{};
    std::copy_n(head, HeadSize - 1, text.begin());
    std::copy_n(tail, TailSize, text.begin() + (HeadSize - 1));
    return text;
}
