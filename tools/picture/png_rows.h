// The rows of a PNG file: filtered, and compressed into one zlib stream.
#pragma once

#include "tools/picture/rgb_image.h"

#include <cstdint>
#include <vector>

/// The content of a PNG file's chunks IDAT for samples of 8 or of 16 bits. Throws std::runtime_error when the
/// compressor fails.
template <class Sample>
[[nodiscard]] std::vector<std::uint8_t> compressRows(const RgbPicture<Sample>& picture);
