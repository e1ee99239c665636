// What the two stages of the picture decoder hand each other: some columns of the four planes, each sample as
// its table entry and the bits that it was read from. A column is one sample of each plane.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kinedec::picture {

inline constexpr std::size_t kPlanes = 4;

/// One column. It fills half a cache line, so that the stores of a column stay together. Entry: the low half
/// is the number of bits of code and magnitude, the high half is the mask of the magnitude.
struct alignas(32) Column {
    std::array<std::uint32_t, kPlanes> entries;
    std::array<std::uint16_t, kPlanes> bits; // the last 16 consumed; the magnitude is lowest
};

/// Columns between two looks at the end of the data. Both stretches under way stay in the first-level cache.
inline constexpr std::size_t kStretch = 144;

using Stretch = std::array<Column, kStretch>;

} // namespace kinedec::picture
