// Everything that a source holds: its clips, frame by frame.
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

    /// No frame of what was found is missing or damaged, and something was found.
    [[nodiscard]] bool isComplete() const;
};

/// Reads the source through, checks every frame on `jobs` threads (0: one per processor) and puts clips
/// together. `progress` is told how many bytes were looked through. Memory is bounded: 64 MiB and a frame.
/// Throws std::runtime_error, "PATH: reason", and Interrupted when a signal asks to stop.
[[nodiscard]] Findings findClips(const Source& source, unsigned jobs,
                                 const std::function<void(std::uint64_t done)>& progress);
