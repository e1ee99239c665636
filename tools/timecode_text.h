// Timecodes as people and files write them: from a frame number to hours, minutes, seconds and frames.
#pragma once

#include <array>
#include <cstdint>
#include <string>

/// How a clip counts its timecode.
struct TimecodeCounting {
    std::uint32_t framesPerSecond; // nominal: 24 for 23.976
    bool dropFrame;                // leaves frame numbers out so that the timecode keeps to the clock
};

/// Counting of a clip with `rate` / `scale` frames per second.
[[nodiscard]] TimecodeCounting timecodeCounting(std::uint32_t rate, std::uint32_t scale, bool dropFrame);

/// "HH:MM:SS:FF", with ';' before the frames for drop-frame; wraps after 24 hours.
[[nodiscard]] std::string timecodeText(std::uint32_t frame, const TimecodeCounting& counting);

/// The 8-byte binary timecode of SMPTE ST 331, user bits 0, as CinemaDNG's TimeCodes holds it. Its frame
/// digits reach 39: rates above 30 count pairs of frames (groups of four at 100), as SMPTE ST 12-1 does, and
/// the field flag marks the second of a pair.
[[nodiscard]] std::array<std::uint8_t, 8> binaryTimecode(std::uint32_t frame,
                                                         const TimecodeCounting& counting);
