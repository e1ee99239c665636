// The raw-development block that a clip's information record carries.
#pragma once

#include "plugin/records.h"

#include <cstdint>

/// White level of a clip whose header states none.
inline constexpr std::uint32_t kUnknownWhite = 0xFFFFFFFFU;

/// Replaces the record's raw-development block by one at its defaults. The record owns the block. Returns
/// null without memory; the record then has no block.
[[nodiscard]] RawParams* renewRawParams(QMXINFO& info);

/// 2^bits - 1, at most the largest 32-bit value, because a header can state any bit depth.
[[nodiscard]] std::uint32_t fullScale(std::uint16_t bits);
