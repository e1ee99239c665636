// Magnitude categories: how ITU-T T.81 writes a difference between a sample and its prediction. The category
// is the number of bits of the absolute value. It is written as a prefix code. As many bits follow the code,
// and tell which difference of the category is meant. Everything here holds for all differences of 16-bit
// samples.
#pragma once

#include <bit>
#include <cstdint>

namespace kinedec {

/// Category of a difference (T.81 F.1.2.1.1, table H.2): 0 for 0, 12 for +-2048 to +-4095.
[[nodiscard]] constexpr unsigned magnitudeCategory(std::int32_t difference) {
    const auto bits = static_cast<std::uint32_t>(difference);
    return static_cast<unsigned>(std::bit_width(difference < 0 ? 0U - bits : bits));
}

/// The bits that follow the code of a difference in `category`: the low bits of the difference, or of the
/// difference less 1 when it is negative (T.81 F.1.2.1.1).
[[nodiscard]] constexpr std::uint32_t magnitudeBits(std::int32_t difference, unsigned category) {
    const std::int32_t value = difference < 0 ? difference - 1 : difference;
    return static_cast<std::uint32_t>(value) & ((1U << category) - 1);
}

/// The difference with these magnitude bits: EXTEND (T.81 F.2.2.1).
[[nodiscard]] constexpr std::int32_t extendMagnitude(std::uint32_t bits, unsigned category) {
    const auto value = static_cast<std::int32_t>(bits);
    if (category == 0 || (bits >> (category - 1) & 1U) != 0) return value;
    return value + 1 - (std::int32_t{1} << category);
}

} // namespace kinedec
