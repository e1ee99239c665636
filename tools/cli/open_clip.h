// Opening a clip that may be broken.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/table_report.h"

#include <string>

/// Opens the clip. Throws std::runtime_error, "PATH: reason". The message also says what is wrong with the
/// clip's trailer, and how to recover the frames, where there are any.
[[nodiscard]] Clip openClip(const Plugin& plugin, const std::string& path);

/// Complains about frame records that the clip's table does not know. Returns false when there are any.
[[nodiscard]] bool complainAboutTable(const std::string& path, const TableReport& report);
