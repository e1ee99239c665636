// The whole-picture decoder: the four planes of a frame decoded side by side, straight into the mosaic.
// KineDec defines the coding; this gives the same picture faster, or declines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// One compressed plane, as KineDec::decode takes it. Everything is borrowed for the call.
struct PlaneStream {
    const std::uint16_t* codeLengths; ///< 13, by category
    const std::uint16_t* codes;       ///< 13, by category
    const std::uint8_t* bytes;        ///< `size` bytes of the stream, then kPlanePadding zero bytes
    std::size_t size;
    std::int32_t shift;
};

/// Zero bytes that have to follow each plane's bytes: how far one stretch of samples can reach past the end
/// of a stream that runs out.
inline constexpr std::size_t kPlanePadding = 512;

/// Decodes a frame's four planes and lays them out as one mosaic: `width` x `height` samples at `dst`, row
/// after row, planes 0 and 1 alternating in even rows, 2 and 3 in odd rows. `width` and `height` are even;
/// `dst` needs no alignment. A stream that runs out supplies zeros. Allocates nothing; uses less than 16 KiB
/// of stack. True: the picture is, bit for bit, what four calls of KineDec::decode and their interleaving
/// give. False: a table or shift is outside what this decoder takes, or a stream holds a pattern without a
/// code; `dst` then holds anything, and KineDec has the last word on each plane.
[[nodiscard]] bool decodePicture(std::span<const PlaneStream, 4> planes, std::uint32_t width,
                                 std::uint32_t height, std::uint16_t* dst) noexcept;
