// A plane decoder that follows the definition of the coding: one bit at a time, codes compared category by
// category, no table. The decoders are compared with it.
#pragma once

#include "kinedec/code_table.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

struct ReferencePlane {
    std::vector<std::uint16_t> samples; // whole rows, unshifted; only those reached when a code was wrong
    std::int32_t samplesLeft = 0;       // at the start of the row with the wrong code; 0: the plane decoded
    std::size_t bitsUsed = 0;
};

/// Decodes rows until there are `count` samples. The table is legal. Bits behind the end of the stream are 0.
/// Where several codes match, the highest category counts.
[[nodiscard]] ReferencePlane decodeByDefinition(const kinedec::CodeTable& table,
                                                std::span<const std::uint8_t> stream, std::int32_t count,
                                                std::int32_t rowLength);
