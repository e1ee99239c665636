// What `krw info` tells of a clip as a screen for a person to read.
#pragma once

#include "tools/export/clip_report.h"

#include <string>

[[nodiscard]] std::string reportText(const ClipReport& report);
