#include "tools/timecode_text.h"

#include <algorithm>
#include <fmt/format.h>

namespace {

constexpr std::uint32_t kMinute = 60;
constexpr std::uint32_t kHour = 3600;
constexpr std::uint32_t kDay = 86400;
constexpr std::uint32_t kLargestBinaryBase = 30;

struct TimecodeParts {
    std::uint32_t hours, minutes, seconds, frames;
};

/// The number that drop-frame counting shows for the `frame`-th frame: two numbers (four at 60) are left out
/// of each minute that is no multiple of ten (SMPTE ST 12-1).
std::uint64_t dropFrameNumber(std::uint64_t frame, std::uint32_t framesPerSecond) {
    const std::uint64_t dropped = framesPerSecond / 15;
    const std::uint64_t minute = std::uint64_t{framesPerSecond} * kMinute - dropped;
    const std::uint64_t tenMinutes = minute * 10 + dropped;
    const std::uint64_t tens = frame / tenMinutes;
    const std::uint64_t rest = frame % tenMinutes;
    const std::uint64_t minutes = rest < dropped ? 0 : (rest - dropped) / minute;
    return frame + dropped * (9 * tens + minutes);
}

TimecodeParts parts(std::uint32_t frame, const TimecodeCounting& counting) {
    const std::uint64_t number =
        counting.dropFrame ? dropFrameNumber(frame, counting.framesPerSecond) : std::uint64_t{frame};
    const auto seconds = static_cast<std::uint32_t>(number / counting.framesPerSecond % kDay);
    return {seconds / kHour, seconds / kMinute % kMinute, seconds % kMinute,
            static_cast<std::uint32_t>(number % counting.framesPerSecond)};
}

std::uint8_t bcd(std::uint32_t value) {
    return static_cast<std::uint8_t>(value / 10 << 4 | value % 10);
}

} // namespace

TimecodeCounting timecodeCounting(std::uint32_t rate, std::uint32_t scale, bool dropFrame) {
    const std::uint32_t nominal =
        scale == 0 ? 0 : static_cast<std::uint32_t>((std::uint64_t{rate} + scale - 1) / scale);
    return {std::max<std::uint32_t>(nominal, 1), dropFrame};
}

std::string timecodeText(std::uint32_t frame, const TimecodeCounting& counting) {
    const TimecodeParts at = parts(frame, counting);
    return fmt::format("{:02}:{:02}:{:02}{}{:02}", at.hours, at.minutes, at.seconds,
                       counting.dropFrame ? ';' : ':', at.frames);
}

std::array<std::uint8_t, 8> binaryTimecode(std::uint32_t frame, const TimecodeCounting& counting) {
    const TimecodeParts at = parts(frame, counting);
    std::uint32_t group = 1;
    while (counting.framesPerSecond / group > kLargestBinaryBase)
        group *= 2;
    constexpr std::uint8_t kDropFrame = 0x40;
    constexpr std::uint8_t kField = 0x80;
    std::array<std::uint8_t, 8> field{bcd(at.frames / group), bcd(at.seconds), bcd(at.minutes),
                                      bcd(at.hours)};
    if (counting.dropFrame) field[0] |= kDropFrame;
    // The field flag lies in the hours in systems of 25 frames, in the seconds otherwise.
    if (at.frames % group >= (group + 1) / 2 && group > 1)
        field[counting.framesPerSecond % 25 == 0 ? 3 : 1] |= kField;
    return field;
}
