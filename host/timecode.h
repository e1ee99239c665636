// Timecode conversion.
#pragma once

#include <cstdint>

/// Timecode bases as the low byte of tc2Frame's flags (and of the `tcFlags` items) names them.
namespace tcbase {
inline constexpr std::uint32_t k24 = 0x01;
inline constexpr std::uint32_t k30 = 0x02;
inline constexpr std::uint32_t k2997 = 0x04;
inline constexpr std::uint32_t k25 = 0x08;
inline constexpr std::uint32_t k50 = 0x10;
inline constexpr std::uint32_t k5994 = 0x20;
inline constexpr std::uint32_t k60 = 0x40;
inline constexpr std::uint32_t k100 = 0x44;
inline constexpr std::uint32_t k2398 = 0x80;
} // namespace tcbase

/// Bytes of a timecode field.
inline constexpr std::uint32_t kTimecodeSize = 8;

extern "C" {

/// Converts an 8-byte SMPTE ST 331 binary timecode to a frame number in the base that the low byte of `flags`
/// names. The field holds BCD frames with the drop-frame flag in bit 6, seconds, minutes, hours, then user
/// bits. The drop-frame flag counts in the bases 29.97 and 59.94. The frame digits count single frames of the
/// base. Their two bits of tens reach 39, so a clip in a faster base cannot start later than that within a
/// second.
///
/// Returns 1. Returns 0 and stores frame 0 for an unknown base and for a field that is no timecode: digits
/// out of range, or a frame number that drop-frame counting leaves out. `*frame` is always written.
[[gnu::visibility("default")]] int tc2Frame(const void* timecode, std::uint32_t flags, std::uint32_t* frame);

/// Non-zero when the field that tc2Frame converted last on this thread was a drop-frame timecode. A reader
/// hands the host only a frame number, so the host remembers here how to write it as a timecode.
[[gnu::visibility("default")]] int tcDropFrame();
}
