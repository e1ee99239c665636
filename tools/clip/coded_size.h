// The number of bits that a decoded picture took in the clip. A plane is whole when its codes end where its
// data ends. Counting the bits from the samples is several times faster than decoding the plane again.
#pragma once

#include "kinedec/picture_decoder.h"
#include "tools/clip/mosaic.h"

#include <array>
#include <optional>

/// The largest shift that a difference of samples survives: 13 bits with its sign.
inline constexpr std::int32_t kLargestExactShift = 3;

/// Code table and shift of each plane of a frame.
struct FrameCoding {
    std::array<kinedec::CodeTable, krwfile::plane::kCount> tables;
    std::array<std::int32_t, krwfile::plane::kCount> shifts;
};

/// Bits of the codes that a mosaic was decoded from, plane by plane. Nothing when the samples do not tell: a
/// table is no prefix code, the planes have different shifts, or a difference has no code. A shift above
/// kLargestExactShift can push bits out of the samples; the result may then be wrong.
[[nodiscard]] std::optional<kinedec::PlaneBits> countCodedBits(const MosaicView& mosaic,
                                                               const FrameCoding& coding);
