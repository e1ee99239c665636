// The whole-picture decoder: the four planes of a frame decoded side by side, straight into the mosaic. The
// plane decoder defines the coding. This one gives the same picture faster, or declines.
#pragma once

#include "kinedec/code_table.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kinedec {

/// One compressed plane. The bytes are borrowed.
struct PlaneStream {
    CodeTable table;
    std::span<const std::uint8_t> bytes; ///< the picture decoder wants kPlanePadding zero bytes behind them
    std::int32_t shift = 0;
};

/// Zero bytes that have to follow each plane's bytes: how far one stretch of samples can reach past the end
/// of a stream that runs out.
inline constexpr std::size_t kPlanePadding = 512;

/// Bits that the codes of each plane take. They exceed a stream's bits when it ran out.
using PlaneBits = std::array<std::uint64_t, 4>;

/// Decodes a frame's four planes and lays them out as one mosaic: `width` x `height` samples at `dst`, row
/// after row, planes 0 and 1 alternating in even rows, 2 and 3 in odd rows. `width` and `height` are even.
/// `dst` needs no alignment. A stream that runs out supplies zeros. The call allocates nothing and uses less
/// than 20 KiB of stack. When it returns bits, the picture is, bit for bit, what decoding each plane and
/// interleaving them gives. It returns nothing when a code table is no prefix code, a shift is outside 0 to
/// 31, or a stream holds a pattern without a code. The contents of `dst` are then unspecified; decode each
/// plane with decodePlane.
[[nodiscard]] std::optional<PlaneBits> decodePicture(std::span<const PlaneStream, 4> planes,
                                                     std::uint32_t width, std::uint32_t height,
                                                     std::uint16_t* dst) noexcept;

} // namespace kinedec
