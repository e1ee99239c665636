// What the host derives from a video description.
#pragma once

#include "plugin/records.h"

extern "C" {

/// Width and |height| reduced by their greatest common divisor, width in the high 16 bits. Terms above 65535
/// are halved together until they fit, but none falls below 1. The result is 0 for an empty picture.
[[gnu::visibility("default")]] std::uint32_t vidGetAspectRatio(QMXVIDEO video);

/// Fills `pvFlags`: non-zero for "grbg" 16-bit mosaics, 0 for anything the host does not know.
[[gnu::visibility("default")]] void fccGetPvFlagsVideo(QMXVIDEO* video);
}

/// `pvFlags` of a 16-bit colour-filter mosaic.
inline constexpr std::uint32_t kPvFlagsMosaic16 = 0x00010010U;
