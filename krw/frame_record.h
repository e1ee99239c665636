// A frame record as its DANRAW_HEADER describes it: signature, geometry and the four plane descriptors.
#pragma once

#include "kinedec/code_table.h"
#include "krw/byte_view.h"
#include "krw/format.h"

#include <array>
#include <cstdint>

/// Largest file offset that the reader accepts.
inline constexpr std::uint64_t kMaxFileOffset = 0x7FFFFFFFFFFFFFFFU;

/// True when the 1494 bytes carry the signature of a DANRAW_HEADER.
[[nodiscard]] bool hasDanrawSignature(ByteView danraw);

/// Width and height in pixels as a header states them.
struct FrameSize {
    std::int32_t width;
    std::int32_t height;

    /// True when both sides are positive and even, and the bytes of a 16-bit mosaic of this size fit 32 bits.
    [[nodiscard]] bool isValid() const;
    /// Pixels of a valid size. The mosaic has twice as many bytes.
    [[nodiscard]] std::uint32_t pixels() const {
        return static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height);
    }
};

[[nodiscard]] FrameSize frameSize(ByteView danraw);

/// The place and the coding of a colour plane's compressed bytes. Plane k of a mosaic holds the samples in
/// rows of parity k / 2 and columns of parity k % 2.
struct PlaneDescriptor {
    std::uint32_t dataOffset; // from the record's start
    std::uint32_t dataSize;   // bytes
    std::int32_t shift;
    kinedec::CodeTable table;

    /// True when size and offset are possible for a frame of that many pixels whose record starts at
    /// `recordStart`: at most 16 bits a sample, and a file offset that the reader accepts.
    [[nodiscard]] bool fits(std::uint32_t pixels, std::uint64_t recordStart) const;
};

[[nodiscard]] PlaneDescriptor planeDescriptor(ByteView danraw, std::size_t plane);
