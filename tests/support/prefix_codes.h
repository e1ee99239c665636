// Prefix codes drawn at random: by a test's random numbers, or by a fuzzer's input.
#pragma once

#include "kinedec/code_table.h"

#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

/// Draws a tree of at most 13 leaves, none deeper than 13, and gives each category a leaf or none. One code
/// in 16 leaves out a leaf, and so has a gap. `below(n)` draws a number from 0 to n - 1.
template <typename Below>
[[nodiscard]] kinedec::CodeTable drawPrefixCode(Below below) {
    std::vector<std::pair<std::uint16_t, std::uint16_t>> leaves = {{1, 0}, {1, 1}}; // length and code
    for (auto splits = below(kKineCategories - 1); splits > 0; --splits) {
        const auto last = static_cast<std::uint32_t>(leaves.size() - 1);
        auto& [length, code] = leaves[below(2) == 0 ? last : below(last + 1)];
        if (length == kKineIndexBits) continue;
        ++length;
        code = static_cast<std::uint16_t>(code << 1);
        leaves.emplace_back(length, code + 1);
    }
    if (below(16) == 15) leaves.pop_back();
    leaves.resize(kKineCategories);
    kinedec::CodeTable table;
    for (std::uint32_t category = 0; category < kKineCategories; ++category) {
        std::swap(leaves[category], leaves[category + below(kKineCategories - category)]);
        std::tie(table.lengths[category], table.codes[category]) = leaves[category];
    }
    return table;
}
