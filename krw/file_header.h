// The TIFF/DNG-style header at the start of a clip, as opening and probing read it.
#pragma once

#include "krw/byte_view.h"
#include "krw/format.h"

#include <cstdint>
#include <optional>
#include <span>

enum class HeaderRead { ok, failed, shortRead };

/// Reads the file header from the start of a freshly opened file.
[[nodiscard]] HeaderRead readFileHeader(std::int64_t handle,
                                        std::span<std::uint8_t, krwfile::kHeaderSize> header);

/// True when the bytes begin with the little-endian mark and a directory of a size that the reader walks.
[[nodiscard]] bool isWalkable(ByteView header);

/// What the image file directory says, later entries overwriting earlier ones. The directory is taken to
/// start at byte 8 and every value to be one 32-bit word, whatever the entry's type and count.
struct HeaderTags {
    std::optional<std::uint32_t> bitsPerSample;
    std::optional<std::uint32_t> blackLevel;
    std::optional<std::uint32_t> whiteLevel;
    std::optional<std::int32_t> danrawOffset;
    bool compressionKnown = true; // false: the walk ended at an unknown Compression
};

/// Walks the directory of a walkable header in file order.
[[nodiscard]] HeaderTags walkDirectory(ByteView header);
