// The encoder of one colour plane: magnitude categories, the prefix code fitted to them, and the bit stream.
// The coding is the difference coding of lossless JPEG (ITU-T T.81, H.1.2.2 and F.1.2.1) without its markers
// and byte stuffing, limited to the categories 0 to 12.
#pragma once

#include "kinedec/code_table.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Largest absolute difference that the categories reach.
inline constexpr int kMaxDifference = (1 << (kKineCategories - 1)) - 1;

/// The number of differences of a plane in each category.
using CategoryHistogram = std::array<std::uint64_t, kKineCategories>;

/// Counts the categories of a plane. Throws std::runtime_error when a difference between a sample and its
/// prediction, modulo 65536, is outside +-kMaxDifference.
[[nodiscard]] CategoryHistogram countCategories(std::span<const std::uint16_t> samples,
                                                std::size_t rowLength);

/// The canonical prefix code that needs the fewest bits for the histogram. Categories that do not occur get
/// no code. A single category gets a code of one bit.
[[nodiscard]] kinedec::CodeTable fitCodeTable(const CategoryHistogram& histogram);

/// Encodes a plane. Zero bits fill the last byte. Throws std::runtime_error as countCategories does, and when
/// a difference falls into a category without a code.
[[nodiscard]] std::vector<std::uint8_t> encodePlane(std::span<const std::uint16_t> samples,
                                                    std::size_t rowLength, const kinedec::CodeTable& table);
