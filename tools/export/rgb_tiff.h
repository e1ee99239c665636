// Developed pictures as TIFF files.
#pragma once

#include "tools/export/encoded_file.h"
#include "tools/picture/rgb_image.h"

/// A TIFF 6.0 RGB picture with samples of 8 or of 16 bits, uncompressed. The file borrows the picture's
/// samples.
template <class Sample>
[[nodiscard]] EncodedFile encodeRgbTiff(const RgbPicture<Sample>& picture);
