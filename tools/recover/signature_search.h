// The search through every byte of a source. It is as fast as memory, so the device sets the pace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Bytes of a signature. The search finds those of a DANRAW_HEADER and of a trailer.
inline constexpr std::size_t kSignatureSize = 4;

/// Offset of the first signature of either kind at or after `from`; `bytes.size()` when there is none.
[[nodiscard]] std::size_t findSignature(std::span<const std::uint8_t> bytes, std::size_t from);
