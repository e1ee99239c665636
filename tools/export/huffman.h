// Huffman's construction of an optimal prefix code (D. A. Huffman, 1952): the lengths of its codes.
#pragma once

#include <cstdint>
#include <span>

/// Sets `lengths` to the code lengths that need the fewest bits for symbols that occur `counts` times. A
/// symbol that does not occur gets length 0, a lone symbol length 1. Every length is smaller than the number
/// of symbols, unless there is one symbol only. Both spans have the same size, 32 at most.
void fitCodeLengths(std::span<const std::uint64_t> counts, std::span<std::uint16_t> lengths);
