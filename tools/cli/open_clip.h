// Opening a clip that may be broken.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/table_report.h"

#include <string>

/// Opens the clip. Throws std::runtime_error, "PATH: reason", with what is wrong with the clip's trailer and
/// with the way to the frames, where there are any.
[[nodiscard]] Clip openClip(const Plugin& plugin, const std::string& path);

/// Looks for frames that the clip's table does not know, and complains where there are some. False then.
[[nodiscard]] bool complainAboutTable(const std::string& path, const TableReport& report);
