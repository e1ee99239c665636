// A small encoder of lossless JPEG (ITU-T T.81, process 14, SOF3): what the peers get to decode.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

inline constexpr unsigned kJpegPrecision = 12; // bits a sample

/// Samples of `components` components, interleaved: `width` x `components` values a row, `height` rows.
struct JpegSource {
    std::span<const std::uint16_t> samples;
    std::size_t width;
    std::size_t height;
    std::size_t components; // 1 or 2
};

/// A whole JPEG stream of 12-bit samples, predicted from the left neighbour of the same component, with a
/// code fitted to the picture. Throws std::runtime_error for samples above 4095 and pictures too large for
/// the format.
[[nodiscard]] std::vector<std::uint8_t> encodeLosslessJpeg(const JpegSource& source);
