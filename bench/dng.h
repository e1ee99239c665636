// DNG files around a lossless-JPEG strip.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

/// A DNG of a 12-bit "grbg" mosaic in one lossless-JPEG strip of two components, as cameras write it: the
/// even and the odd columns. Throws what encodeLosslessJpeg throws.
[[nodiscard]] std::vector<std::uint8_t> encodeDng(std::span<const std::uint16_t> samples, std::uint32_t width,
                                                  std::uint32_t height);
