// 16-bit samples as the bytes of files that have the most significant byte first, such as PGM and PNG.
#pragma once

#include <cstdint>
#include <span>

/// Writes 2 * samples.size() bytes from `bytes` on: each sample's most significant byte, then the other one.
/// `bytes` need not be aligned, and may not overlap the samples.
void storeBigEndian(std::span<const std::uint16_t> samples, std::uint8_t* bytes);
