// The encoder of lossless JPEG (ITU-T T.81, process 14: Huffman coding, predictor 1), as DNG files hold
// mosaics. The even and the odd columns are two components, so each sample is predicted from its left
// neighbour of the same colour.
#pragma once

#include "tools/clip/mosaic.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

/// A mosaic cut into tiles of one size, from left to right and from top to bottom. A tile may reach beyond
/// the right and bottom edges of the mosaic. Decoders drop what lies there.
struct TileGrid {
    std::uint32_t tileWidth; // even
    std::uint32_t tileHeight;
    std::uint32_t columns;
    std::uint32_t rows;
};

/// JPEG streams (SOI to EOI), one for each tile, in the grid's order.
struct JpegStreams {
    std::unique_ptr<std::uint8_t[]> memory; // holds the streams
    std::vector<std::span<const std::uint8_t>> streams;
};

/// Encodes a mosaic of even size, with one Huffman code fitted to the whole mosaic. Returns nothing for a
/// mosaic that some decoders could not read: when a side of a tile exceeds 65535, or when two neighbouring
/// samples of a colour differ by 32768. The standard codes that difference as category 16 without magnitude
/// bits, but FFmpeg reads 16 magnitude bits.
[[nodiscard]] std::optional<JpegStreams> encodeLosslessJpeg(const MosaicView& mosaic, const TileGrid& grid);
