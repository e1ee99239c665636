// How far a frame record reaches, by its DANRAW_HEADER.
#pragma once

#include "krw/byte_view.h"

#include <cstdint>

/// The headers and the planes of a record.
struct RecordExtent {
    std::uint64_t end = 0;   // of the last part, from the record's start
    std::uint64_t bytes = 0; // in all parts
};
[[nodiscard]] RecordExtent recordExtent(ByteView danraw, std::uint32_t danrawOffset);

/// Bytes of a record from its start, with its padding as far as the stated length can be believed.
[[nodiscard]] std::uint64_t recordSize(ByteView danraw, std::uint32_t danrawOffset);
