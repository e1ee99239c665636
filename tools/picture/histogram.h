// The four planes' histograms of a mosaic as a drawing.
#pragma once

#include "tools/clip/mosaic.h"
#include "tools/picture/rgb_image.h"

#include <cstdint>
#include <string>

/// Draws one histogram per colour plane, one above the other, with logarithmic counts over sample values, and
/// black and white level marked.
[[nodiscard]] RgbImage drawHistograms(const MosaicView& mosaic, std::uint32_t blackLevel,
                                      std::uint32_t whiteLevel, const std::string& title);
