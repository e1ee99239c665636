// The export of one clip into one folder, as `krw export` does it for each of its clips.
#pragma once

#include "tools/cli/commands.h"
#include "tools/cli/frame_selection.h"
#include "tools/cli/frame_tally.h"
#include "tools/cli/progress.h"
#include "tools/export/export_files.h"
#include "tools/export/frame_exporter.h"

#include <cstdint>
#include <string>

/// What the command line asks for in the export of each clip.
struct ClipExportOptions {
    ExportFormatOptions shape;
    FrameSelection frames;
    unsigned jobs = 1;
    bool overwrite = false;
    FrameExportOptions perFrame;
    DevelopOptions develop;
    std::string neutral = "auto";
    std::string matrix; // file, empty for none
};

struct ExportTally {
    FrameTally read; // those that are ok were exported
    std::uint32_t skipped = 0;
    Throughput throughput;

    void count(const FrameOutcome& outcome) {
        if (outcome.skipped)
            ++skipped;
        else
            read.count(outcome.reading.state);
    }
    void add(const ExportTally& other) {
        read.add(other.read);
        skipped += other.skipped;
        throughput.add(other.throughput);
    }
};

/// Exports the clip at `path` into the folder `directory`. Complains about each frame that is not in order,
/// and sets the exit status for it. Throws UsageError for frames and options that do not suit the clip, and
/// std::runtime_error, "PATH: reason", for files that cannot be written.
[[nodiscard]] ExportTally exportClip(const ClipExportOptions& options, const std::string& path,
                                     const std::string& directory, CommandContext& context);
