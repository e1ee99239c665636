// The encoder of one colour plane: magnitude categories, the prefix code fitted to them, and the bit stream.
// The coding is the difference coding of lossless JPEG (ITU-T T.81, H.1.2.2 and F.1.2.1) without its markers
// and byte stuffing, limited to the categories 0 to 12.
#pragma once

#include "krw/format.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// A category's code is the low `lengths[category]` bits of `codes[category]`; length 0 is no code.
struct CodeTable {
    std::array<std::uint16_t, krwfile::plane::kStoredCategories> lengths{};
    std::array<std::uint16_t, krwfile::plane::kStoredCategories> codes{};
};

inline constexpr std::size_t kCategories = 13;
inline constexpr int kMaxDifference = 4095; // category 12

/// How many differences of a plane fall into each category.
using CategoryHistogram = std::array<std::uint64_t, kCategories>;

/// Counts the categories of a plane. Throws std::runtime_error when a difference between a sample and its
/// prediction, modulo 65536, is outside +-kMaxDifference.
[[nodiscard]] CategoryHistogram countCategories(std::span<const std::uint16_t> samples,
                                                std::size_t rowLength);

/// The canonical prefix code that spends the fewest bits on the histogram. Categories that do not occur get
/// no code; a lone category gets a code of one bit.
[[nodiscard]] CodeTable fitCodeTable(const CategoryHistogram& histogram);

/// Canonical codes for the lengths that a table holds: shorter codes first, then lower categories. The
/// lengths must satisfy Kraft's inequality.
void assignCanonicalCodes(CodeTable& table);

/// The plane's coded bytes, the last one filled up with zero bits. Throws std::runtime_error as
/// countCategories does, and when a difference falls into a category without a code.
[[nodiscard]] std::vector<std::uint8_t> encodePlane(std::span<const std::uint16_t> samples,
                                                    std::size_t rowLength, const CodeTable& table);
