// Reading a known number of bytes from a clip.
#pragma once

#include <cstdint>
#include <span>

/// Size of an open file in bytes; 0 for a handle that has none.
[[nodiscard]] std::uint64_t fileSize(std::int64_t handle);

enum class FileRead { complete, seekFailed, readFailed, cutShort };

/// Fills `buffer`, less than 4 GiB, from the file position of an open handle. The result is `cutShort` when
/// the file ends before that.
[[nodiscard]] FileRead readFully(std::int64_t handle, std::span<std::uint8_t> buffer);

/// Moves the file position to `offset` and fills `buffer` from there.
[[nodiscard]] FileRead readFullyAt(std::int64_t handle, std::uint64_t offset, std::span<std::uint8_t> buffer);
