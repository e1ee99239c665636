// RGB pictures as PNG files, through libpng and ISA-L.
#pragma once

#include "tools/picture/display_curve.h"
#include "tools/picture/rgb_image.h"

#include <cstdint>
#include <vector>

/// The bytes of a PNG file with samples of 8 or of 16 bits. The file names the transfer characteristics of
/// `curve` where PNG has a code for them. Throws std::runtime_error when a library fails.
template <class Sample>
[[nodiscard]] std::vector<std::uint8_t> encodePng(const RgbPicture<Sample>& picture,
                                                  DisplayCurve curve = DisplayCurve::gamma);
