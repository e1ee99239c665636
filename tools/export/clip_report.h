// Everything that `krw info` reports on a clip, and its JSON document.
#pragma once

#include "tools/clip/clip.h"
#include "tools/clip/frame_range.h"
#include "tools/clip/named_items.h"
#include "tools/clip/table_report.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The result of reading one frame.
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
    std::optional<TableReport> table{}; // empty when the frame table was not checked
};

/// First, middle and last frame of a range.
[[nodiscard]] FrameSet sampledFrames(std::uint32_t first, std::uint32_t count);

/// Reads the frames of `framesToTry`. Opens the clip once more without its side-cars, to tell where each item
/// comes from. The report refers to `clip`.
[[nodiscard]] ClipReport makeClipReport(const Plugin& plugin, Clip& clip, const FrameSet& framesToTry);

/// One JSON document, as docs/json.md describes it.
[[nodiscard]] std::string reportJson(const ClipReport& report);

/// The documents of several clips as one.
[[nodiscard]] std::string reportListJson(const std::vector<std::string>& reports);
