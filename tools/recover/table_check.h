// Tells whether a clip is whole: compares its frame table with the frame records in its file.
#pragma once

#include "tools/clip/clip_file.h"
#include "tools/clip/table_report.h"

#include <string>

/// Reads the clip's trailer and the headers that its table leads to. Searches the other bytes for frame
/// records that the table does not have. Throws std::runtime_error, "PATH: reason", when the file cannot be
/// read.
[[nodiscard]] TableReport checkTable(ClipFile& file);

/// Text that follows the reader's message on a file that does not open: what is wrong with its trailer, and
/// whether its first 256 MiB hold a frame record that can be recovered. Empty when neither is the case.
[[nodiscard]] std::string explainUnusable(const std::string& path);
