// Is a clip whole? Its frame table against the frame records that are in its file.
#pragma once

#include "tools/clip/table_report.h"

#include <string>

/// Reads the clip's trailer and the headers that its table leads to, and looks for frame records in what the
/// table does not account for. Throws std::runtime_error, "PATH: reason", when the file cannot be read.
[[nodiscard]] TableReport checkTable(const std::string& path);

/// Why readers cannot use a file and what can be done, to follow their reason: what is wrong with its
/// trailer, and whether its first 256 MiB hold a frame record. Empty where there is neither.
[[nodiscard]] std::string explainUnusable(const std::string& path);
