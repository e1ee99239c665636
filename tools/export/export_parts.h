// Exports in parts: the parts' manifests put together into the manifest of the whole.
#pragma once

#include "tools/export/export_journal.h"

#include <cstdint>
#include <string>

/// Names in `directory` for a clip's export; `part` is 0 for the whole, else 1 to `parts`.
[[nodiscard]] ExportFileNames exportFileNames(const std::string& directory, const std::string& clipName,
                                              std::uint32_t part, std::uint32_t parts);

/// Called when a part has ended. The part that ends last puts all parts' manifests together into the whole's
/// and removes them. A part that is run again later is put into the whole's manifest. Throws
/// std::runtime_error, "PATH: reason".
void mergeParts(const std::string& directory, const std::string& clipName, std::uint32_t parts, bool sync);
