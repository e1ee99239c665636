#include "tools/export/huffman.h"

#include <algorithm>
#include <vector>

void fitCodeLengths(std::span<const std::uint64_t> counts, std::span<std::uint16_t> lengths) {
    struct Tree {
        std::uint64_t count;
        std::uint32_t symbols; // a bit for each symbol below this node
    };
    std::vector<Tree> forest;
    for (std::size_t symbol = 0; symbol < counts.size(); ++symbol)
        if (counts[symbol] != 0) forest.push_back({counts[symbol], 1U << symbol});

    std::ranges::fill(lengths, std::uint16_t{0});
    const auto deepen = [&lengths](std::uint32_t symbols) {
        for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol)
            if ((symbols >> symbol & 1U) != 0) ++lengths[symbol];
    };
    if (forest.size() == 1) deepen(forest.front().symbols);
    while (forest.size() > 1) {
        std::ranges::stable_sort(forest, std::ranges::greater{}, &Tree::count);
        const Tree rarest = forest.back();
        forest.pop_back();
        forest.back().count += rarest.count;
        forest.back().symbols |= rarest.symbols;
        deepen(forest.back().symbols);
    }
}
