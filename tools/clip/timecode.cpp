#include "tools/clip/timecode.h"

#include <algorithm>
#include <fmt/format.h>

namespace {

constexpr std::uint32_t kMinute = 60;
constexpr std::uint32_t kHour = 3600;
constexpr std::uint32_t kDay = 86400;

/// Number of frame numbers that drop-frame counting skips at the start of every minute except each tenth:
/// two, at 60 frames per second four (SMPTE ST 12-1).
std::uint64_t droppedNumbers(std::uint32_t framesPerSecond) {
    return framesPerSecond / 15;
}

/// The number that drop-frame counting shows for a frame.
std::uint64_t dropFrameNumber(std::uint64_t frame, std::uint32_t framesPerSecond) {
    const std::uint64_t dropped = droppedNumbers(framesPerSecond);
    const std::uint64_t minute = std::uint64_t{framesPerSecond} * kMinute - dropped;
    const std::uint64_t tenMinutes = minute * 10 + dropped;
    const std::uint64_t tens = frame / tenMinutes;
    const std::uint64_t rest = frame % tenMinutes;
    const std::uint64_t minutes = rest < dropped ? 0 : (rest - dropped) / minute;
    return frame + dropped * (9 * tens + minutes);
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

TimecodeParts timecodeParts(std::uint64_t frame, const TimecodeCounting& counting) {
    const std::uint64_t number =
        counting.dropFrame ? dropFrameNumber(frame, counting.framesPerSecond) : frame;
    const auto seconds = static_cast<std::uint32_t>(number / counting.framesPerSecond % kDay);
    return {seconds / kHour, seconds / kMinute % kMinute, seconds % kMinute,
            static_cast<std::uint32_t>(number % counting.framesPerSecond)};
}

std::optional<std::uint64_t> timecodeNumber(const TimecodeParts& parts, const TimecodeCounting& counting) {
    const std::uint64_t minutes = std::uint64_t{parts.hours} * kMinute + parts.minutes;
    std::uint64_t number = (minutes * kMinute + parts.seconds) * counting.framesPerSecond + parts.frames;
    if (counting.dropFrame) {
        const std::uint64_t dropped = droppedNumbers(counting.framesPerSecond) * (minutes - minutes / 10);
        number -= std::min(number, dropped);
    }
    // Skipped numbers and parts out of range do not give the same parts again.
    return timecodeParts(number, counting) == parts ? std::optional(number) : std::nullopt;
}

std::uint64_t timecodesADay(const TimecodeCounting& counting) {
    constexpr std::uint32_t kMinutes = kDay / kMinute;
    const std::uint64_t dropped =
        counting.dropFrame ? droppedNumbers(counting.framesPerSecond) * (kMinutes - kMinutes / 10) : 0;
    return std::uint64_t{counting.framesPerSecond} * kDay - dropped;
}

std::string timecodeText(std::uint32_t frame, const TimecodeCounting& counting) {
    const TimecodeParts at = timecodeParts(frame, counting);
    return fmt::format("{:02}:{:02}:{:02}{}{:02}", at.hours, at.minutes, at.seconds,
                       counting.dropFrame ? ';' : ':', at.frames);
}

std::array<std::uint8_t, 4> timecodeDigits(const TimecodeParts& parts, bool dropFrame) {
    constexpr std::uint8_t kDropFrameFlag = 0x40;
    const std::uint8_t frames = bcd(parts.frames);
    return {dropFrame ? static_cast<std::uint8_t>(frames | kDropFrameFlag) : frames, bcd(parts.seconds),
            bcd(parts.minutes), bcd(parts.hours)};
}
