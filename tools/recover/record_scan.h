// The search for headers of frame records and for trailers, in bytes of any origin.
#pragma once

#include "krw/byte_view.h"
#include "tools/recover/source.h"

#include <cstdint>
#include <functional>
#include <optional>

/// A DANRAW_HEADER whose picture size and plane places are possible.
struct ScannedHeader {
    std::uint64_t place; // in the source
    ByteView danraw;     // its bytes, borrowed
    /// Distance from the start of the record, where a file header before the DANRAW_HEADER states it.
    std::optional<std::uint32_t> statedOffset;
};

/// The trailer of a finished clip.
struct ScannedTrailer {
    std::uint64_t place;
    std::int32_t frames;
    std::uint64_t tableOffset; // in the file of its clip
};

/// Called for what is found, in the order of the source.
struct ScanEvents {
    std::function<void(const ScannedHeader&)> header;
    std::function<void(const ScannedTrailer&)> trailer;
    std::function<void(std::uint64_t done)> progress; // bytes searched so far
};

/// Searches the range once, in order, with 5 MiB of memory. Looks for a file header in up to 64 KiB before
/// each DANRAW_HEADER, inside the range. Throws what Source::read and the events throw.
void scanRecords(const Source& source, ByteRange range, const ScanEvents& events);

/// True when the header has the signature, a picture size and plane places that a reader accepts.
[[nodiscard]] bool isFrameHeader(ByteView danraw);
