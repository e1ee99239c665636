// Timecodes: from a frame number to hours, minutes, seconds and frames, as text and as binary digits.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

/// The way in which a clip counts its timecode.
struct TimecodeCounting {
    std::uint32_t framesPerSecond; // nominal: 24 for 23.976
    bool dropFrame;                // skips frame numbers so that the timecode agrees with the clock
};

struct TimecodeParts {
    std::uint32_t hours, minutes, seconds, frames;

    [[nodiscard]] bool operator==(const TimecodeParts&) const = default;
};

/// Counting of a clip with `rate` / `scale` frames per second.
[[nodiscard]] TimecodeCounting timecodeCounting(std::uint32_t rate, std::uint32_t scale, bool dropFrame);

/// The parts of a frame number; wraps after 24 hours.
[[nodiscard]] TimecodeParts timecodeParts(std::uint64_t frame, const TimecodeCounting& counting);

/// The frame number with these parts; nothing for parts that the counting does not have.
[[nodiscard]] std::optional<std::uint64_t> timecodeNumber(const TimecodeParts& parts,
                                                          const TimecodeCounting& counting);

/// Frame numbers of 24 hours.
[[nodiscard]] std::uint64_t timecodesADay(const TimecodeCounting& counting);

/// "HH:MM:SS:FF", with ';' before the frames for drop-frame; wraps after 24 hours.
[[nodiscard]] std::string timecodeText(std::uint32_t frame, const TimecodeCounting& counting);

/// Largest number of frames in a binary timecode: two bits hold the tens.
inline constexpr std::uint32_t kLargestTimecodeFrames = 39;

/// The four bytes of digits that begin a binary timecode of SMPTE ST 331: BCD frames with the drop-frame flag
/// in bit 6, seconds, minutes, hours. `parts.frames` is at most kLargestTimecodeFrames.
[[nodiscard]] std::array<std::uint8_t, 4> timecodeDigits(const TimecodeParts& parts, bool dropFrame);
