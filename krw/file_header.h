// The TIFF/DNG-style header at the start of a clip, as opening and probing read and check it.
#pragma once

#include "krw/byte_view.h"
#include "krw/format.h"
#include "plugin/status.h"

#include <cstdint>
#include <optional>
#include <span>

/// Why a file does not begin like a clip. Opening logs `message` as an error. Probing logs `probeMessage`.
struct HeaderFault {
    const char* message;
    const char* probeMessage;
    bool probeWarns; // probing logs a warning instead of an error: the file may belong to another plug-in
    std::uint32_t code;
};

inline constexpr HeaderFault kHeaderUnreadable{"Error: read DNG header\n", "Error: read DNG header\n", true,
                                               status::kBadHeader};
inline constexpr HeaderFault kHeaderCutShort{"Error: read DNG header size\n", "Error: read DNG header\n",
                                             true, status::kBadHeader};
inline constexpr HeaderFault kForeignHeader{"Endian mismatch!\n", "Endian mismatch!\n", true,
                                            status::kBadHeader};
inline constexpr HeaderFault kUnknownCompression{"Unexpected compression.\n", "Unexpected compression.\n",
                                                 false, status::kUnreadable};
inline constexpr HeaderFault kNoDanrawHeader{"No DANRAW_HEADER!\n", "No DANRAW_HEADER!\n", false,
                                             status::kNoDanraw};

/// Reads the file header from the start of a freshly opened file. Returns null when the header begins with
/// the little-endian mark and an image file directory (IFD) of a length that the reader accepts. Otherwise
/// returns what is wrong.
[[nodiscard]] const HeaderFault* readFileHeader(std::int64_t handle,
                                                std::span<std::uint8_t, krwfile::kHeaderSize> header);

/// What the IFD says. Of several entries with the same tag the last one counts.
struct HeaderTags {
    std::optional<std::uint32_t> bitsPerSample;
    std::optional<std::uint32_t> blackLevel;
    std::optional<std::uint32_t> whiteLevel;
    std::optional<std::int32_t> danrawOffset;
    bool compressionKnown = true; // false: the entries after an unknown Compression were not read
};

/// Reads the IFD of a header that readFileHeader accepted. The IFD is taken to start at byte 8, whatever the
/// header says. Every value is taken to be one 32-bit word, whatever the entry's type and count say.
[[nodiscard]] HeaderTags readIfd(ByteView header);
