// Finding the headers of frame records, and trailers, in bytes of any origin.
#pragma once

#include "krw/byte_view.h"
#include "tools/recover/source.h"

#include <cstdint>
#include <functional>
#include <optional>

/// A DANRAW_HEADER with a possible picture size and possible places of its planes.
struct ScannedHeader {
    std::uint64_t place; // in the source
    ByteView danraw;     // its bytes, borrowed
    /// Distance from the record's start, as a file header in front of it states it.
    std::optional<std::uint32_t> statedOffset;
};

/// The trailer of a finished clip.
struct ScannedTrailer {
    std::uint64_t place;
    std::int32_t frames;
    std::uint64_t tableOffset; // in the clip that it ended
};

/// Told what is found, in the order of the source.
struct ScanEvents {
    std::function<void(const ScannedHeader&)> header;
    std::function<void(const ScannedTrailer&)> trailer;
    std::function<void(std::uint64_t done)> progress; // bytes looked through
};

/// Looks through the bytes of the range once, in order, with 5 MiB of memory. A file header is looked for up
/// to 64 KiB in front of each DANRAW_HEADER, in the range. Throws what Source::read and the events throw.
void scanRecords(const Source& source, ByteRange range, const ScanEvents& events);

/// True when the header has the signature, a picture size and plane places that a reader accepts.
[[nodiscard]] bool isFrameHeader(ByteView danraw);
