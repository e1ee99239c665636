// The search through every byte of a source. It runs at the speed of memory, so that the device sets the
// pace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Bytes of the signatures that are looked for: of a DANRAW_HEADER and of a trailer.
inline constexpr std::size_t kSignatureSize = 4;

/// Offset of the first signature of either kind at `from` or behind it, `bytes.size()` when there is none.
[[nodiscard]] std::size_t findSignature(std::span<const std::uint8_t> bytes, std::size_t from);
