// The 32-bit status codes that the host and the reader exchange. 0 is success; the small negative numbers
// are the reader's verdicts on a file, the 0xE802xxxx codes are the host's own.
#pragma once

#include <cstdint>

namespace status {

inline constexpr std::uint32_t kOk = 0;

// File-level failures.
inline constexpr std::uint32_t kNoFile = 0xFFFFFFFFU;     // -1: no file, no frame table or no such frame
inline constexpr std::uint32_t kBadHeader = 0xFFFFFFFEU;  // -2: header unreadable or not little-endian
inline constexpr std::uint32_t kNoDanraw = 0xFFFFFFFDU;   // -3: the header names no DANRAW_HEADER
inline constexpr std::uint32_t kUnreadable = 0xFFFFFFFCU; // -4: compression or DANRAW_HEADER unreadable
inline constexpr std::uint32_t kBadRecord = 0xFFFFFFFBU;  // -5: bad signature, geometry or plane placement
inline constexpr std::uint32_t kPlaneRead = 0xFFFFFFFAU;  // -6: a plane's bytes cannot be read
inline constexpr std::uint32_t kMissingArgument = 0xFFFFFFDFU; // -33: xMediaFile without object or record

// Host codes.
inline constexpr std::uint32_t kNotSupported = 0xE8022001U;
inline constexpr std::uint32_t kOutOfMemory = 0xE8022007U; // also: no stream record
inline constexpr std::uint32_t kUnknownFormat = 0xE8023026U;
inline constexpr std::uint32_t kFrameBuffer = 0xE8024018U; // the caller's frame record or buffer does not fit

} // namespace status
