// A run of a clip's frames.
#pragma once

#include <cstdint>

/// Consecutive frames; none for a count of 0.
struct FrameRange {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
};
