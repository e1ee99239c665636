// Exports in parts: the manifests of the parts become the manifest of the whole.
#pragma once

#include "tools/export/export_journal.h"

#include <cstdint>
#include <string>

/// Names in `directory` for a clip's export; `part` is 0 for the whole, else 1 to `parts`.
[[nodiscard]] ExportFileNames exportFileNames(const std::string& directory, const std::string& clipName,
                                              std::uint32_t part, std::uint32_t parts);

/// Call this when a part has ended. The part that ends last combines the manifests of all parts into that of
/// the whole, and removes them. A part that is run again later is added to the manifest of the whole. Throws
/// std::runtime_error, "PATH: reason".
void mergeParts(const std::string& directory, const std::string& clipName, std::uint32_t parts, bool sync);
