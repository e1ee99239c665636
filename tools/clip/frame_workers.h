// Work on a clip's frames on several threads. Each thread has a reader of its own. Results arrive in frame
// order.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/frame_range.h"

#include <cstdint>
#include <functional>
#include <vector>

/// The result of the work on one frame.
struct FrameOutcome {
    FrameReading reading;
    std::uint64_t hash = 0;             // of the mosaic, where the work makes one
    bool skipped = false;               // the frame needed no work and was not read
    bool isLast = false;                // the work ends with this frame
    std::vector<std::uint8_t> output{}; // bytes that the work made of the frame
};

/// Done for each frame on a worker's thread, with that worker's clip and picture.
using FrameWork = std::function<FrameOutcome(Clip& clip, Picture& picture, std::uint32_t frame)>;

/// Gets each outcome on the calling thread, in frame order. An outcome with `isLast` ends the work.
using OutcomeTaker = std::function<void(std::uint32_t frame, FrameOutcome& outcome)>;

/// Frames that each worker may be ahead of the taker.
inline constexpr unsigned kFramesAhead = 2;

/// Does `work` for each frame of `frames` on workerCount(jobs) workers at most. The first worker uses `clip`;
/// each other worker opens the clip for itself. The workers are at most kFramesAhead frames each ahead of the
/// taker. Rethrows what `work` or `take` throws. Throws Interrupted when a signal asks to stop. In each case
/// all workers have ended when this returns.
void forEachFrame(const Plugin& plugin, Clip& clip, const FrameSet& frames, unsigned jobs,
                  const FrameWork& work, const OutcomeTaker& take);
