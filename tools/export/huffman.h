// Huffman's construction: how long the codes of a cheapest prefix code are.
#pragma once

#include <cstdint>
#include <span>

/// Sets `lengths` to the code lengths that spend the fewest bits on symbols that occur `counts` times. A
/// symbol that does not occur gets length 0, a lone symbol length 1. No length reaches the number of symbols.
/// There are up to 32 symbols, as many lengths as counts.
void fitCodeLengths(std::span<const std::uint64_t> counts, std::span<std::uint16_t> lengths);
