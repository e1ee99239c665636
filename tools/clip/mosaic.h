// A colour-filter mosaic in memory, and its four colour planes.
#pragma once

#include "krw/format.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Colours of the filter, with their numbers in TIFF/EP.
enum class CfaColour : std::uint8_t { red = 0, green = 1, blue = 2 };

/// Colours of a mosaic's 2 x 2 cell, row after row: "grbg". A site's number is also its colour plane's: bit 1
/// is the row, bit 0 the column.
inline constexpr std::array<CfaColour, krwfile::plane::kCount> kCfaCell{CfaColour::green, CfaColour::red,
                                                                        CfaColour::blue, CfaColour::green};

/// width x height samples, row after row from the top, no padding. The colours repeat kCfaCell.
struct Mosaic {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint16_t> samples;
};

/// The same without owning the samples.
struct MosaicView {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::span<const std::uint16_t> samples;

    MosaicView(std::uint32_t columns, std::uint32_t rows, std::span<const std::uint16_t> content)
        : width(columns), height(rows), samples(content) {}
    MosaicView(const Mosaic& mosaic) // NOLINT(google-explicit-constructor): a view of the same thing
        : MosaicView(mosaic.width, mosaic.height, mosaic.samples) {}
};

/// Plane `index` (0 to 3) of a mosaic of even size: (width / 2) x (height / 2) samples, row after row. The
/// index is that of the plane's site in kCfaCell.
[[nodiscard]] inline std::vector<std::uint16_t> extractPlane(const Mosaic& mosaic, std::size_t index) {
    std::vector<std::uint16_t> plane;
    plane.reserve(mosaic.samples.size() / krwfile::plane::kCount);
    for (std::size_t row = index / 2; row < mosaic.height; row += 2)
        for (std::size_t column = index % 2; column < mosaic.width; column += 2)
            plane.push_back(mosaic.samples[row * mosaic.width + column]);
    return plane;
}
