// Values of DNG tags that exported files and the headers of written clips share.
#pragma once

#include "tools/clip/mosaic.h"

#include <array>
#include <cstdint>

namespace dng {

inline constexpr std::array<std::uint8_t, 4> kVersion{1, 4, 0, 0};
inline constexpr std::array<std::uint8_t, 4> kBackwardVersion{1, 1, 0, 0};
inline constexpr std::uint16_t kIlluminantD65 = 21;

/// The mosaic's 2 x 2 cell in the colour numbers of TIFF/EP.
inline constexpr std::array<std::uint8_t, 4> kCfaPattern = [] {
    std::array<std::uint8_t, 4> pattern{};
    for (std::size_t site = 0; site < pattern.size(); ++site)
        pattern[site] = static_cast<std::uint8_t>(kCfaCell[site]);
    return pattern;
}();

/// The colour matrix for cameras without a calibration: from CIE XYZ to the linear RGB of IEC 61966-2-1, in
/// ten-thousandths. A clip does not state the colours of its camera, so its samples count as that RGB.
inline constexpr std::int32_t kMatrixScale = 10000;
inline constexpr std::array<std::int32_t, 9> kNeutralMatrix{32406, -15372, -4986, -9689, 18758,
                                                            415,   557,    -2040, 10570};

[[nodiscard]] constexpr std::array<float, 9> neutralMatrix() {
    std::array<float, 9> matrix{};
    for (std::size_t index = 0; index < matrix.size(); ++index)
        matrix[index] = static_cast<float>(kNeutralMatrix[index]) / kMatrixScale;
    return matrix;
}

} // namespace dng
