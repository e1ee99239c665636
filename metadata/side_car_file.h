// Reads a side-car's bytes, and says in the log when a side-car is not used as it stands. Side-cars are small
// texts, so a file is read whole, up to a limit.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// Bytes. The side-cars of long recordings stay below 1 MiB.
inline constexpr std::size_t kMaxSideCarSize = std::size_t{16} << 20;

struct SideCarBytes {
    std::string bytes; // at most kMaxSideCarSize
    bool complete;     // false: the file is longer
};

/// Reads a side-car. Nothing when the file cannot be opened or read, or is no regular file. May throw
/// std::bad_alloc.
[[nodiscard]] std::optional<SideCarBytes> readSideCar(const char* path);

/// Logs a warning that names the file and the limit that it exceeds.
void warnAboutSideCar(const char* path, const char* limit);
