// RGB pictures as PNG files, through libpng.
#pragma once

#include "tools/develop.h"

#include <cstdint>
#include <string>
#include <vector>

/// The bytes of a PNG file. Throws std::runtime_error when libpng fails.
[[nodiscard]] std::vector<std::uint8_t> encodePng(const RgbImage& image);

/// True when the file at `path` begins and ends as a whole PNG file does.
[[nodiscard]] bool isWholePng(const std::string& path);
