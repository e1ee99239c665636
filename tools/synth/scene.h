// A drawn scene as a camera's sensor would see it, for clips that are not made from mosaics: gradients, a
// colour chart, edges, a disc that moves from frame to frame, and sensor noise.
#pragma once

#include "tools/clip/mosaic.h"

#include <cstdint>

// The scene's samples are 12-bit.
inline constexpr std::uint16_t kSceneBlackLevel = 256;
inline constexpr std::uint16_t kSceneWhiteLevel = 4095;

/// Noise levels as standard deviations in steps of the 12-bit samples. At 4096 x 2160, a fitted code spends
/// about 5.0 bits on a sample of the clean scene and about 7.1 on one of the noisy scene.
inline constexpr double kCleanNoise = 3.3;
inline constexpr double kNoisyNoise = 15.6;
inline constexpr double kMaxNoise = 4095.0;

/// Draws frame number `frame`, with the colour layout "grbg". `noise` is a standard deviation from 0 to
/// kMaxNoise. The same call gives the same samples on every machine. Throws std::runtime_error for a size
/// that clips cannot have, and for a noise level outside its range.
[[nodiscard]] Mosaic drawScene(std::uint32_t width, std::uint32_t height, std::uint32_t frame, double noise);
