// Going through a clip's frames on several threads, each with a reader of its own, with the results in frame
// order.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/frame_range.h"

#include <cstdint>
#include <functional>
#include <vector>

/// What became of one frame.
struct FrameOutcome {
    FrameReading reading;
    std::uint64_t hash = 0;             // of the mosaic, where the work makes one
    bool skipped = false;               // there was nothing to do, and nothing was read
    bool isLast = false;                // no frame after this one is begun
    std::vector<std::uint8_t> output{}; // what the work made of the frame, for the taker
};

/// Done for each frame on a worker's thread, with that worker's clip and picture.
using FrameWork = std::function<FrameOutcome(Clip& clip, Picture& picture, std::uint32_t frame)>;

/// Told each outcome on the calling thread, in frame order, up to one that is the last.
using OutcomeTaker = std::function<void(std::uint32_t frame, FrameOutcome& outcome)>;

/// Frames that each worker may be ahead of the taker.
inline constexpr unsigned kFramesAhead = 2;

/// Goes through `range` with up to `jobs` workers (0: one per processor), of which the calling program's
/// `clip` is the first one's. No more than kFramesAhead frames for each worker are begun and not yet taken.
/// Rethrows what work or taker throw, and throws Interrupted when a signal asks to
/// stop; the workers have ended in either case.
void forEachFrame(const Plugin& plugin, Clip& clip, const FrameRange& range, unsigned jobs,
                  const FrameWork& work, const OutcomeTaker& take);
