// Writing a found clip as a new file: its records byte for byte, with the file header and the trailer that
// readers need.
#pragma once

#include "tools/export/output_file.h"
#include "tools/recover/findings.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Where the file header of a rebuilt clip comes from.
enum class HeaderOrigin {
    ownRecord,     // the first record has it
    anotherRecord, // another record of the clip has it
    rebuilt,       // no record has it; levels and bit depth are guessed
};

/// The origin of the header when these records are written in this order.
[[nodiscard]] HeaderOrigin headerOrigin(const Findings& findings, const ClipFindings& clip,
                                        std::span<const std::uint32_t> records);

/// The records to write: the whole ones. With `keepDamaged` also those damaged ones of which more than a
/// quarter is in the source.
[[nodiscard]] std::vector<std::uint32_t> recordsToWrite(const Source& source, const Findings& findings,
                                                        const ClipFindings& clip, bool keepDamaged);

/// Writes the clip. `progress` gets the number of bytes of each step. Throws std::runtime_error, "PATH:
/// reason", and Interrupted.
void rebuildClip(const Source& source, const Findings& findings, const ClipFindings& clip,
                 std::span<const std::uint32_t> records, const std::string& path, OutputOptions options,
                 const std::function<void(std::uint64_t bytes)>& progress);
