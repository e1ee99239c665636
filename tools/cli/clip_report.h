// Everything that `krw info` tells of a clip, gathered once and written as a screen or as a JSON document.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/named_items.h"

#include <string>
#include <vector>

/// How reading one of the frames that were tried went.
struct TriedFrame {
    std::uint32_t frame;
    FrameReading reading;
};

struct ClipReport {
    const Clip& clip;
    std::string description; // what the plug-in calls the format
    std::vector<NamedItem> items;
    ItemSource documentSource; // of the device metadata document
    std::vector<TriedFrame> tried;
};

/// A screen for a person to read.
[[nodiscard]] std::string reportText(const ClipReport& report);

/// One JSON document, as docs/json.md describes it.
[[nodiscard]] std::string reportJson(const ClipReport& report);
