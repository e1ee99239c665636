// The frames that a found clip lacks: gaps in its timecode, holes between its records, frames that its
// trailer counts.
#pragma once

#include "tools/recover/found_clip.h"

#include <span>
#include <vector>

/// Sets `missing` of each clip. The clips are in the order of their first records.
void findMissingFrames(const Source& source, std::span<const FoundRecord> records,
                       std::span<const ScannedTrailer> trailers, std::vector<FoundClip>& clips);
