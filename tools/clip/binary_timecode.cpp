#include "tools/clip/binary_timecode.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kFastestSingleFrames = 30; // faster rates count groups of frames

} // namespace

std::array<std::uint8_t, 8> binaryTimecode(std::uint32_t frame, const TimecodeCounting& counting,
                                           const std::array<std::uint8_t, 4>& userBits) {
    TimecodeParts parts = timecodeParts(frame, counting);
    std::uint32_t group = 1;
    while (counting.framesPerSecond / group > kFastestSingleFrames)
        group *= 2;
    const bool secondHalf = group > 1 && parts.frames % group >= group / 2;
    parts.frames /= group;
    std::array<std::uint8_t, 8> timecode{};
    std::ranges::copy(timecodeDigits(parts, counting.dropFrame), timecode.begin());
    std::ranges::copy(userBits, timecode.begin() + 4);
    constexpr std::uint8_t kFieldFlag = 0x80; // of the seconds
    if (secondHalf) timecode[1] |= kFieldFlag;
    return timecode;
}
