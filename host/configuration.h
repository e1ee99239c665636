// The host's configuration: 32-bit values by section and key, one store per process.
#pragma once

#include <cstdint>

extern "C" {

/// Modes of pvCFGValueDword.
inline constexpr std::uint32_t kCfgRead = 0;
inline constexpr std::uint32_t kCfgWrite = 1;

/// Reads or stores one value. Any thread may call. The store starts empty. When the environment variable
/// KRW_HOST_CONFIG names an INI file, the store starts with that file at its first use and writes it back on
/// every change. Other lines of the file stay.
///
/// Returns 0, or -1 when a value to read is missing (`*value` stays), a value cannot be stored, or an
/// argument is bad. `store` selects a configuration of the host; -1 is the process's own.
[[gnu::visibility("default")]] int pvCFGValueDword(std::int64_t store, const char* section, const char* key,
                                                   std::uint32_t* value, std::uint32_t mode);
}
