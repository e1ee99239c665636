// The binary timecode of a frame, as the TimeCodes tag of CinemaDNG and other formats have it.
#pragma once

#include "tools/clip/timecode.h"

#include <array>
#include <cstdint>

/// The 8-byte binary timecode of SMPTE ST 331: digits, then user bits. Rates above 30 count pairs of frames
/// (groups of four at 100), as SMPTE ST 12-1 does; the field flag marks the second frame of a pair. The flag
/// is in the seconds at every rate. Systems of 25 frames have it in the hours, but readers of the tag take
/// that bit as the sign that the user bits hold a date.
[[nodiscard]] std::array<std::uint8_t, 8> binaryTimecode(std::uint32_t frame,
                                                         const TimecodeCounting& counting,
                                                         const std::array<std::uint8_t, 4>& userBits = {});
