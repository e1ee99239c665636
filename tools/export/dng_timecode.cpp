#include "tools/export/dng_timecode.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kFastestSingleFrames = 30; // faster rates count groups of frames

} // namespace

std::array<std::uint8_t, 8> dngTimecode(std::uint32_t frame, const TimecodeCounting& counting) {
    TimecodeParts parts = timecodeParts(frame, counting);
    std::uint32_t group = 1;
    while (counting.framesPerSecond / group > kFastestSingleFrames)
        group *= 2;
    const bool secondHalf = group > 1 && parts.frames % group >= group / 2;
    parts.frames /= group;
    std::array<std::uint8_t, 8> timecode{};
    std::ranges::copy(timecodeDigits(parts, counting.dropFrame), timecode.begin());
    // The field flag lies in the hours in systems of 25 frames, in the seconds otherwise.
    constexpr std::uint8_t kFieldFlag = 0x80;
    if (secondHalf) timecode[counting.framesPerSecond % 25 == 0 ? 3 : 1] |= kFieldFlag;
    return timecode;
}
