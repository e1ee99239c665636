// The frame table: one file offset per frame, stored in the file behind a trailer or rebuilt by walking the
// chain of records.
#pragma once

#include <cstdint>

/// Looks for the stored table and falls back to the scan when the file has no trailer. `danrawOffset` is the
/// place of the DANRAW_HEADER inside a record. Returns `*frameCount` record offsets in frame order in a block
/// of malloc, which the caller releases with free; null when there is no table. A stored table's entries are
/// taken as they stand. Moves the handle's file position; writes its progress to standard output.
[[nodiscard]] std::uint64_t* krw2_get_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                                  std::int32_t danrawOffset);

/// Walks the records from the start of the file by the length that each one states, up to the first that
/// cannot be read whole or has no signature. Null for fewer than two records, with the number found in
/// `*frameCount`.
[[nodiscard]] std::uint64_t* krw2_rebuild_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                                      std::int32_t danrawOffset);
