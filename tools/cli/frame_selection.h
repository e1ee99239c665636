// The frames that a command line selects: "A-B", "A-", "A", 0-based, both ends included.
#pragma once

#include "tools/clip/frame_range.h"

#include <cstdint>
#include <string>

/// Which of a clip's frames a command is to work on, in the words of the command line.
struct FrameSelection {
    std::string range; // "A-B", "A-" or "A"; empty for all
    std::string part;  // "I/N", I from 1: the I-th of N equal parts of the range; empty for the whole
};

/// One of equal parts; `index` counts from 1.
struct PartNumber {
    std::uint32_t index = 0;
    std::uint32_t parts = 0;
};

/// The part that is selected; index 0 for the whole. Throws UsageError, with the clip's name in the message,
/// for words that are no part.
[[nodiscard]] PartNumber selectedPart(const FrameSelection& selection, const std::string& clip);

/// The frames selected of a clip of `frames` frames; none for a part of a range with fewer frames than parts.
/// Throws UsageError, with the clip's name in the message, for words that are no range or no part, and for
/// frames that the clip does not have.
[[nodiscard]] FrameRange selectedFrames(const FrameSelection& selection, std::uint32_t frames,
                                        const std::string& clip);

/// The same for a range alone.
[[nodiscard]] FrameRange selectedRange(const std::string& range, std::uint32_t frames,
                                       const std::string& clip);
