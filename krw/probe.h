// Tells KRW clips from other files without a reader object.
#pragma once

#include <cstdint>

/// Verdict on a file: 0 for a clip that this plug-in reads, and for a null or empty path; otherwise a status
/// of plugin/status.h. A clip has a sound header and a table of at least two frames. When the file stores its
/// table, no record is looked at. `index` belongs to the host and is not used.
[[nodiscard]] std::uint32_t mfPlugInCheckFile(const char* path, std::uint32_t index);
