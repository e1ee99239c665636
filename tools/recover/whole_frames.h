// Decides which frames of a found clip are whole. Planes may be padded; the frames of a clip show how it
// pads.
#pragma once

#include "tools/recover/found_record.h"
#include "tools/recover/source.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct DamagedFrame {
    std::uint32_t record; // index into all records
    std::string reason;
};

struct JudgedFrames {
    std::vector<std::uint32_t> whole; // indices into all records, in the clip's order
    std::vector<DamagedFrame> damaged;
};

/// Judges the records of a clip. A clip that is made of the whole frames verifies without a damaged frame,
/// because its padding is the padding that this call learned.
[[nodiscard]] JudgedFrames judgeFrames(const Source& source, std::span<const FoundRecord> records,
                                       std::span<const std::uint32_t> clip);
