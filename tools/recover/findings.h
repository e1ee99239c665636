// The clips of a source, frame by frame.
#pragma once

#include "tools/recover/found_clip.h"
#include "tools/recover/found_record.h"
#include "tools/recover/source.h"
#include "tools/recover/whole_frames.h"

#include <cstdint>
#include <functional>
#include <vector>

struct ClipFindings {
    FoundClip found;
    JudgedFrames frames;
};

struct Findings {
    std::vector<FoundRecord> records; // in the order of the source
    std::vector<ClipFindings> clips;  // in the order of their first records

    /// True when something was found and no frame of it is missing or damaged.
    [[nodiscard]] bool isComplete() const;
};

/// Reads the whole source, checks every frame on workerCount(jobs) threads, and groups the frames into clips.
/// `progress` gets the number of bytes searched so far. Takes at most 64 MiB of memory and that of one frame.
/// Throws std::runtime_error, "PATH: reason", and Interrupted when a signal asks to stop.
[[nodiscard]] Findings findClips(const Source& source, unsigned jobs,
                                 const std::function<void(std::uint64_t done)>& progress);
