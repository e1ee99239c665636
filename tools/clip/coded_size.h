// The size of a decoded picture in its own code. A plane's codes end where its data end when the plane is
// whole. Counting them from the samples is several times faster than decoding the plane again.
#pragma once

#include "kinedec/picture_decoder.h"
#include "tools/clip/mosaic.h"

#include <array>
#include <optional>

/// Code table and shift of each plane of a frame.
struct FrameCoding {
    std::array<kinedec::CodeTable, krwfile::plane::kCount> tables;
    std::array<std::int32_t, krwfile::plane::kCount> shifts;
};

/// Bits of the codes that a mosaic was decoded from, plane by plane. Nothing when the samples do not tell: a
/// table that is no prefix code, planes with different shifts, or a difference that has no code. The count
/// can be wrong when a shift above 3 has pushed bits out of the samples.
[[nodiscard]] std::optional<kinedec::PlaneBits> countCodedBits(const MosaicView& mosaic,
                                                               const FrameCoding& coding);
