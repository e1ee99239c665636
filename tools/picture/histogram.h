// Histograms of the four planes of a mosaic, as a drawing.
#pragma once

#include "tools/clip/mosaic.h"
#include "tools/picture/rgb_image.h"

#include <cstdint>
#include <string>

/// Draws one histogram for each colour plane, one above the other: logarithmic counts over sample values,
/// with marks at black and white level.
[[nodiscard]] RgbImage drawHistograms(const MosaicView& mosaic, std::uint32_t blackLevel,
                                      std::uint32_t whiteLevel, const std::string& title);
