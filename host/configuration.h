// The host's configuration: 32-bit values by section and key, one store per process.
#pragma once

#include <cstdint>

extern "C" {

/// Modes of pvCFGValueDword.
inline constexpr std::uint32_t kCfgRead = 0;
inline constexpr std::uint32_t kCfgWrite = 1;

/// Reads or stores one value; any thread may call. The store starts empty, or from the INI file that the
/// environment variable KRW_HOST_CONFIG names at the first use, and is written back there on every change
/// (other lines of the file stay).
/// Returns 0; -1 when a value to read is missing (`*value` stays), when it cannot be stored, or on bad
/// arguments. `store` selects a configuration of the host's; -1 is the process's own.
[[gnu::visibility("default")]] int pvCFGValueDword(std::int64_t store, const char* section, const char* key,
                                                   std::uint32_t* value, std::uint32_t mode);
}
