// Telling KRW clips from other files, without a reader object.
#pragma once

#include <cstdint>

/// Verdict on a file: 0 for a clip that this plug-in reads (and for a null or empty path), otherwise a status
/// of plugin/status.h. The header must be in order and a table of at least two frames must be had; records
/// are not looked at when the file stores its table. `index` is the host's and not used. Keeps nothing.
[[nodiscard]] std::uint32_t mfPlugInCheckFile(const char* path, std::uint32_t index);
