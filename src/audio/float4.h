// Four floats computed side by side, through the vector types of GCC and Clang (SSE2 on x86-64,
// NEON on arm64). Used by the filter bank and the dynamics.
//
// Operators work lane by lane; a comparison yields a mask, and `mask ? a : b` chooses by it.
#pragma once

#include <cstdint>
#include <cstring>

using Float4 = float __attribute__((vector_size(16)));
using Mask4 = std::int32_t __attribute__((vector_size(16)));
using Half2 = std::int64_t __attribute__((vector_size(16))); ///< a Float4 as two pairs of lanes

inline Float4 all4(float value) {
    return Float4{value, value, value, value};
}

/// `from` and `to` need no alignment.
inline Float4 load4(const float* from) {
    Float4 value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

inline void store4(float* to, Float4 value) {
    std::memcpy(to, &value, sizeof value);
}

inline Float4 abs4(Float4 value) {
    return reinterpret_cast<Float4>(reinterpret_cast<Mask4>(value) & 0x7FFFFFFF);
}

inline bool all_lanes(Mask4 mask) {
    const auto halves = reinterpret_cast<Half2>(mask);
    return (halves[0] & halves[1]) == -1;
}

inline bool no_lane(Mask4 mask) {
    const auto halves = reinterpret_cast<Half2>(mask);
    return (halves[0] | halves[1]) == 0;
}
