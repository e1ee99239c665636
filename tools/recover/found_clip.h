// Records grouped into clips, and the frames that each clip lacks.
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
    std::size_t before;   // index in the clip's records of the next one; their number at the end
    std::uint64_t frames; // 0: the number is unknown
};

struct FoundClip {
    std::vector<std::uint32_t> records; // indices into all records, in the clip's order
    bool hasTrailer = false;
    std::optional<std::uint32_t> framesByTrailer; // of a trailer without contradictions
    std::vector<MissingFrames> missing;

    [[nodiscard]] bool isComplete() const { return missing.empty(); }
};

/// Groups records that are in the order of the source. A record continues a clip when geometry, rate, camera
/// and production are those of the clip and one of these is true: it begins where the last record of the clip
/// ends; its timecode is the next one; the frames that its timecode leaves out fit into the gap. A damaged
/// record that begins where the last record ends belongs to the clip whatever its header says. A trailer ends
/// a clip.
[[nodiscard]] std::vector<FoundClip> groupRecords(const Source& source, std::span<const FoundRecord> records,
                                                  std::span<const ScannedTrailer> trailers);

/// Number of frames that the timecode leaves out between two records of a clip. It is 0 when the timecode of
/// the second is the next one or the same. Nothing when the timecode goes back or is none.
[[nodiscard]] std::optional<std::uint64_t> framesLeftOut(const FoundRecord& first, const FoundRecord& second);
