#include "host/timecode.h"

#include <array>
#include <optional>
#include <span>

namespace {

struct TimecodeBase {
    std::uint32_t code;
    std::uint32_t framesPerSecond; // nominal: the frames that the field counts
    std::uint32_t dropFrames; // frame numbers that drop-frame counting leaves out of a minute, 0 for none
};

constexpr std::array kBases{
    TimecodeBase{tcbase::k24, 24, 0}, TimecodeBase{tcbase::k30, 30, 0},   TimecodeBase{tcbase::k2997, 30, 2},
    TimecodeBase{tcbase::k25, 25, 0}, TimecodeBase{tcbase::k50, 50, 0},   TimecodeBase{tcbase::k5994, 60, 4},
    TimecodeBase{tcbase::k60, 60, 0}, TimecodeBase{tcbase::k100, 100, 0}, TimecodeBase{tcbase::k2398, 24, 0},
};

constexpr std::uint32_t kBaseMask = 0xFF;
constexpr std::uint8_t kDropFrameFlag = 0x40;

thread_local bool convertedDropFrame = false;

/// Two BCD digits below `limit`. `mask` removes the flags that share the byte.
std::optional<std::uint32_t> decimal(std::uint8_t byte, std::uint8_t mask, std::uint32_t limit) {
    const std::uint32_t tens = static_cast<std::uint32_t>(byte & mask) >> 4;
    const std::uint32_t units = byte & 0x0FU;
    const std::uint32_t value = tens * 10 + units;
    if (units > 9 || value >= limit) return std::nullopt;
    return value;
}

std::optional<std::uint32_t> frameNumber(std::span<const std::uint8_t, 4> field, const TimecodeBase& base) {
    const auto frames = decimal(field[0], 0x3F, base.framesPerSecond);
    const auto seconds = decimal(field[1], 0x7F, 60);
    const auto minutes = decimal(field[2], 0x7F, 60);
    const auto hours = decimal(field[3], 0x3F, 24);
    if (!frames || !seconds || !minutes || !hours) return std::nullopt;

    const std::uint32_t totalMinutes = *hours * 60 + *minutes;
    const std::uint32_t counted = (totalMinutes * 60 + *seconds) * base.framesPerSecond + *frames;
    if ((field[0] & kDropFrameFlag) == 0) return counted;
    const bool numberLeftOut = *minutes % 10 != 0 && *seconds == 0 && *frames < base.dropFrames;
    if (numberLeftOut) return std::nullopt;
    return counted - base.dropFrames * (totalMinutes - totalMinutes / 10);
}

} // namespace

int tc2Frame(const void* timecode, std::uint32_t flags, std::uint32_t* frame) {
    *frame = 0;
    convertedDropFrame = false;
    const std::span<const std::uint8_t, 4> field(static_cast<const std::uint8_t*>(timecode), 4);
    for (const TimecodeBase& base : kBases) {
        if (base.code != (flags & kBaseMask)) continue;
        const auto number = frameNumber(field, base);
        *frame = number.value_or(0);
        convertedDropFrame = number && base.dropFrames != 0 && (field[0] & kDropFrameFlag) != 0;
        return number ? 1 : 0;
    }
    return 0;
}

int tcDropFrame() {
    return convertedDropFrame ? 1 : 0;
}
