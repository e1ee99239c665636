// One frame record as its DANRAW_HEADER describes it: signature, geometry and the four plane descriptors.
#pragma once

#include "krw/byte_view.h"
#include "krw/format.h"

#include <array>
#include <cstdint>

/// Largest file offset that the reader goes to.
inline constexpr std::uint64_t kMaxFileOffset = 0x7FFFFFFFFFFFFFFFU;

/// True when the 1494 bytes carry the signature of a DANRAW_HEADER.
[[nodiscard]] bool hasDanrawSignature(ByteView danraw);

/// Width and height in pixels as a header states them.
struct FrameSize {
    std::int32_t width;
    std::int32_t height;

    /// Positive, even, and a 16-bit mosaic of this size fits 32 bits.
    [[nodiscard]] bool isValid() const;
    /// Pixels of a valid size; twice as many bytes make the mosaic.
    [[nodiscard]] std::uint32_t pixels() const {
        return static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height);
    }
};

[[nodiscard]] FrameSize frameSize(ByteView danraw);

/// Where a colour plane's compressed bytes lie and how they are coded. Plane k of a mosaic holds the samples
/// in rows of parity k / 2 and columns of parity k % 2.
struct PlaneDescriptor {
    std::uint32_t dataOffset; // from the record's start
    std::uint32_t dataSize;   // bytes
    std::int32_t shift;
    std::array<std::uint16_t, krwfile::plane::kStoredCategories> codeLengths;
    std::array<std::uint16_t, krwfile::plane::kStoredCategories> codes;

    /// True when the plane may lie in a frame of that many pixels whose record starts at `recordStart`: at
    /// most 16 bits a sample, at an offset that a file can have.
    [[nodiscard]] bool fits(std::uint32_t pixels, std::uint64_t recordStart) const;
};

[[nodiscard]] PlaneDescriptor planeDescriptor(ByteView danraw, std::size_t plane);
