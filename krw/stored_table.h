// The end of a finished clip, for programs that write clips.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

/// The bytes behind the last record of a finished clip: the stored frame table, and the trailer at the start
/// of the file's last block. `end` is the file offset at which the records end. Throws std::runtime_error for
/// more frames than a trailer can count.
[[nodiscard]] std::vector<std::uint8_t> makeStoredTable(std::span<const std::uint64_t> recordStarts,
                                                        std::uint64_t end);
