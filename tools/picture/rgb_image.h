// Developed and drawn pictures in memory.
#pragma once

#include <cstdint>
#include <vector>

/// An RGB picture, three samples a pixel, row after row from the top.
template <class Sample>
struct RgbPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<Sample> pixels;
};

using RgbImage = RgbPicture<std::uint8_t>;
using RgbImage16 = RgbPicture<std::uint16_t>;
