// Records put together to clips, and what is missing in each.
#pragma once

#include "tools/recover/found_record.h"
#include "tools/recover/record_scan.h"
#include "tools/recover/source.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// A place in a clip where frames are missing.
struct MissingFrames {
    std::size_t before;   // index in the clip's records of what follows; their number for the end
    std::uint64_t frames; // 0: nobody knows how many
};

struct FoundClip {
    std::vector<std::uint32_t> records; // indices into all records, in the clip's order
    bool hasTrailer = false;
    std::optional<std::uint32_t> framesByTrailer; // of a trailer that can be believed
    std::vector<MissingFrames> missing;

    [[nodiscard]] bool isComplete() const { return missing.empty(); }
};

/// Groups records, which are in the order of the source. A record continues a clip when geometry, rate,
/// camera and production are the clip's, and it lies at the end of the clip's last record, or its timecode
/// follows, or as many frames as the timecode leaves out fit between. A damaged record at the end of the
/// clip's last record belongs to the clip whatever its header says. A trailer ends a clip.
[[nodiscard]] std::vector<FoundClip> groupRecords(const Source& source, std::span<const FoundRecord> records,
                                                  std::span<const ScannedTrailer> trailers);

/// Frames that the timecode leaves out between two records of a clip: 0 when it follows or stands still,
/// nothing when it goes back or is no timecode.
[[nodiscard]] std::optional<std::uint64_t> framesLeftOut(const FoundRecord& first, const FoundRecord& second);
