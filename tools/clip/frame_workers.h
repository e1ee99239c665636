// Work on a clip's frames on several threads. Each thread has a reader of its own. Results arrive in frame
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
    bool skipped = false;               // the frame needed no work and was not read
    bool isLast = false;                // no frame after this one is begun
    std::vector<std::uint8_t> output{}; // bytes that the work made of the frame
};

/// Done for each frame on a worker's thread, with that worker's clip and picture.
using FrameWork = std::function<FrameOutcome(Clip& clip, Picture& picture, std::uint32_t frame)>;

/// Gets each outcome on the calling thread, in frame order. An outcome with `isLast` ends the work.
using OutcomeTaker = std::function<void(std::uint32_t frame, FrameOutcome& outcome)>;

/// Frames that each worker may be ahead of the taker.
inline constexpr unsigned kFramesAhead = 2;

/// Does `work` for the frames of `frames` on up to `jobs` workers (0: one per processor). The first worker
/// uses `clip`, each other one opens the clip for itself. No more than kFramesAhead frames for each worker
/// are begun and not yet taken. Rethrows what work or taker throw. Throws Interrupted when a signal asks to
/// stop. The workers have ended in either case.
void forEachFrame(const Plugin& plugin, Clip& clip, const FrameSet& frames, unsigned jobs,
                  const FrameWork& work, const OutcomeTaker& take);
