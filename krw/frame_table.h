// The frame table: one file offset per frame. It is stored in the file behind a trailer, or rebuilt by
// following the chain of records.
#pragma once

#include "krw/byte_view.h"

#include <cstdint>
#include <functional>

/// Looks for the stored table, and scans the records when the file has no trailer. `danrawOffset` is the
/// offset of the DANRAW_HEADER inside a record. Returns `*frameCount` record offsets in frame order, or null
/// when there is no table. The block comes from malloc, and the caller releases it with free. The entries of
/// a stored table are not checked. The call moves the handle's file position and writes its progress to
/// standard output.
[[nodiscard]] std::uint64_t* krw2_get_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                                  std::int32_t danrawOffset);

/// Scans the records from the start of the file. Each states its length and so the start of the next. The
/// scan ends at the first record that cannot be read whole or has no signature. Returns null for fewer than
/// two records; `*frameCount` has the number found.
[[nodiscard]] std::uint64_t* krw2_rebuild_frame_table(std::int64_t handle, std::int32_t* frameCount,
                                                      std::int32_t danrawOffset);

/// Told of each record that a scan finds: where it starts, and its DANRAW_HEADER.
using RecordTaker = std::function<void(std::uint64_t start, ByteView danraw)>;

/// What krw2_get_frame_table does; `take` is told of the records when there is no stored table. For programs
/// that want more of the records than their places, and want to read them once.
[[nodiscard]] std::uint64_t* loadFrameTable(std::int64_t handle, std::int32_t* frameCount,
                                            std::int32_t danrawOffset, const RecordTaker& take);
