// Which frames of a found clip are whole. Planes may be padded; how a clip pads is learned from its frames.
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

/// Judges a clip's records. A clip of the whole frames alone verifies without a damaged frame: its padding is
/// what this call learned.
[[nodiscard]] JudgedFrames judgeFrames(const Source& source, std::span<const FoundRecord> records,
                                       std::span<const std::uint32_t> clip);
