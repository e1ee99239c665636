// Tells a whole plane by its last bytes: its data ends in the codes of its last samples. A decoder that lost
// its place in the stream has too few or too many samples when it finds the codes again. So its last samples
// are not those at the end of the data.
#pragma once

#include "krw/frame_record.h"
#include "tools/clip/mosaic.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// Bytes to compare, in addition to the padding: twice 64 bits, and a byte for the alignment.
inline constexpr std::uint32_t kTailBytes = 17;

/// Codes the last samples of plane `index` again, and compares the last 64 bits with `tail`, the end of the
/// plane's data. True when the bits are there and at most `mostLeft` bytes lie behind them. False also when
/// the comparison cannot decide: the bits occur more than once, as in a uniform picture; the last row has
/// fewer bits; or a shift has pushed bits out of the samples.
[[nodiscard]] bool endsInItsCodes(const PlaneDescriptor& plane, std::size_t index, const MosaicView& picture,
                                  std::uint32_t mostLeft, std::span<const std::uint8_t> tail);
