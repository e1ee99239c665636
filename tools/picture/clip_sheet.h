// The contact sheet of a clip: developed thumbnails of frames that are spread over it.
#pragma once

#include "tools/clip/frame_range.h"
#include "tools/picture/develop.h"
#include "tools/picture/rgb_image.h"

#include <cstdint>
#include <functional>

struct ClipSheetOptions {
    std::uint32_t count = 12;       // thumbnails
    std::uint32_t thumbWidth = 240; // pixels, the largest
    DevelopOptions develop;
};

/// Told how reading each frame of the sheet went. What it throws ends the drawing.
using SheetFrameTaker = std::function<void(std::uint32_t frame, const FrameReading& reading)>;

/// Frames spread evenly over `frames`, first and last included. Throws std::runtime_error when the sheet
/// would be too large.
[[nodiscard]] RgbImage drawClipSheet(Clip& clip, const FrameSet& frames, const ClipSheetOptions& options,
                                     const SheetFrameTaker& take);
