// The limits of the coding, and the entry of the look-up table that a plane's code table is expanded to.
#pragma once

#include <cstdint>

/// Number of magnitude categories that a code table describes: 0 to 12.
inline constexpr int kKineCategories = 13;
/// Longest legal code, in bits; also the width of the look-up table's index.
inline constexpr int kKineIndexBits = 13;

/// What the next 13 bits of the stream mean.
struct KineDecEntry {
    std::uint16_t bits;    ///< Code and magnitude bits together. 0: no code begins with these bits.
    std::uint16_t value;   ///< Complete entry: the difference. Deferred: mask of the magnitude bits.
    std::uint16_t signBit; ///< 0 for a complete entry. Deferred: weight of the magnitude's top bit.
    std::uint16_t negFill; ///< Deferred: pattern of -2^category. 0 for a complete entry.
};
static_assert(sizeof(KineDecEntry) == 8);
