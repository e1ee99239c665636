// Does a plane's data end in the codes of its last samples? This tells a whole plane by its last bytes. A
// decoder that went astray has too few or too many samples when it finds its way back, so its last ones are
// not those of the data's end.
#pragma once

#include "krw/frame_record.h"
#include "tools/clip/mosaic.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// Bytes to look at beside the padding: twice the 64 bits that are compared, and one for their alignment.
inline constexpr std::uint32_t kTailBytes = 17;

/// True when the last 64 bits of plane `index`'s codes, made again from the delivered samples, are in `tail`,
/// the end of its data, and no more than `mostLeft` bytes lie behind them. False also when this cannot be
/// told: the bits are there more than once, as in an even picture, the last row has fewer of them, or a shift
/// has pushed bits out of the samples.
[[nodiscard]] bool endsInItsCodes(const PlaneDescriptor& plane, std::size_t index, const MosaicView& picture,
                                  std::uint32_t mostLeft, std::span<const std::uint8_t> tail);
