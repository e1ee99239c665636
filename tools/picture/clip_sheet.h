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

/// Gets the result of reading each frame of the sheet. An exception that it throws ends the drawing.
using SheetFrameTaker = std::function<void(std::uint32_t frame, const FrameReading& reading)>;

/// Draws a sheet of frames that are spread evenly over `frames`, first and last included. Throws
/// std::runtime_error when the sheet would be too large.
[[nodiscard]] RgbImage drawClipSheet(Clip& clip, const FrameSet& frames, const ClipSheetOptions& options,
                                     const SheetFrameTaker& take);
