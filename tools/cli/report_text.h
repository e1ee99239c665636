// The text that `krw info` prints for a clip.
#pragma once

#include "tools/export/clip_report.h"

#include <string>

[[nodiscard]] std::string reportText(const ClipReport& report);
