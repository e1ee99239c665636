// Frames as TIFF files: the mosaic in a DNG as CinemaDNG sequences have it, and the mosaic in a plain TIFF.
#pragma once

#include "tools/clip/mosaic.h"
#include "tools/export/dng_metadata.h"
#include "tools/export/encoded_file.h"

#include <array>
#include <cstdint>

/// How a DNG file holds its mosaic.
enum class Compression {
    none,     // 16-bit samples
    lossless, // lossless JPEG
};

/// A DNG 1.4 file with the mosaic. `timecode` is the timecode of the frame, from binaryTimecode. With
/// `lossless`, a mosaic that encodeLosslessJpeg cannot encode is stored uncompressed. The file borrows the
/// samples of the mosaic.
[[nodiscard]] EncodedFile encodeCinemaDng(const DngMetadata& metadata, const MosaicView& mosaic,
                                          const std::array<std::uint8_t, 8>& timecode,
                                          Compression compression);

/// A TIFF 6.0 file with the 16-bit mosaic as a grey picture, uncompressed. It borrows the mosaic's samples.
[[nodiscard]] EncodedFile encodeGreyTiff(const DngMetadata& metadata, const MosaicView& mosaic);
