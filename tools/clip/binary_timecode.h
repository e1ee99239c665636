// The timecode of a frame as files hold it: the TimeCodes tag of CinemaDNG, and the timecodes of other
// formats.
#pragma once

#include "tools/clip/timecode.h"

#include <array>
#include <cstdint>

/// The 8-byte binary timecode of SMPTE ST 331 with the user bits behind it. Rates above 30 count pairs of
/// frames (groups of four at 100), as SMPTE ST 12-1 does, and the field flag marks the second of a pair. The
/// flag lies in the seconds at every rate. Readers of the tag take the bit in the hours, where systems of 25
/// frames have the flag, for the sign that the user bits hold a date.
[[nodiscard]] std::array<std::uint8_t, 8> binaryTimecode(std::uint32_t frame,
                                                         const TimecodeCounting& counting,
                                                         const std::array<std::uint8_t, 4>& userBits = {});
