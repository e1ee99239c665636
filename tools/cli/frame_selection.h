// The frames that the words of a command line select.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/frame_range.h"

#include <cstdint>
#include <string>

/// The frames of a clip that a command works on, as the command line states them. A list has numbers, ranges
/// "A-B" and "A-", each with an optional step ":S", separated by commas. A and B are frame numbers from 0 or
/// timecodes. Both ends belong to the range.
struct FrameSelection {
    std::string list; // empty for all
    std::string part; // "I/N", I from 1: the I-th of N equal parts of the list; empty for the whole
};

/// The numbers and timecodes of a clip's frames.
struct FrameNames {
    std::string clip;                     // for messages
    std::uint32_t frames = 0;             // number of frames
    std::uint32_t firstTimecode = 0;      // of frame 0, as a frame number
    TimecodeCounting counting{25, false}; // of the timecodes
};

[[nodiscard]] FrameNames frameNames(const Clip& clip);

/// One of equal parts; `index` counts from 1.
struct PartNumber {
    std::uint32_t index = 0;
    std::uint32_t parts = 0;
};

/// The selected part; index 0 for the whole. Throws UsageError when the text is not of the form "I/N".
[[nodiscard]] PartNumber selectedPart(const FrameSelection& selection);

/// The selected frames. There are none when a list with fewer frames than parts leaves none for this part.
/// Throws UsageError, with the clip's name in the message, for text that is no list or no part, and for
/// frames or timecodes that the clip does not have.
[[nodiscard]] FrameSet selectedFrames(const FrameSelection& selection, const FrameNames& names);
[[nodiscard]] FrameSet selectedFrames(const FrameSelection& selection, const Clip& clip);
