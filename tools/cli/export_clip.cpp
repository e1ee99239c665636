#include "tools/cli/export_clip.h"

#include "tools/cli/console.h"
#include "tools/cli/picture_output.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/frame_workers.h"
#include "tools/export/export_parts.h"
#include "tools/export/media_hash_list.h"
#include "tools/export/output_file.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <map>
#include <sstream>

namespace {

void refuseToOverwrite(const ExportFiles& files, const FrameSet& frames) {
    for (const std::uint32_t frame : frames) {
        const std::string path = files.path(frame);
        if (std::filesystem::exists(path))
            throw std::runtime_error(
                fmt::format("{}: exists already (--resume continues an export, --overwrite replaces)", path));
    }
}

/// The gains for "R,G,B", the samples of something white. Throws UsageError for other text.
Gains gainsFor(const std::string& neutral) {
    std::istringstream text(neutral);
    Gains samples{};
    char comma = ',';
    for (double& sample : samples)
        if (comma != ',' || !(text >> sample) || !(sample > 0) || (!(text >> comma) && !text.eof()))
            throw UsageError(fmt::format("--neutral {}: expected auto, clip or three numbers above 0 like "
                                         "0.5,1,0.6",
                                         neutral));
    return {samples[1] / samples[0], 1, samples[1] / samples[2]};
}

/// The format options, with the colours that follow from the command line and the clip.
ExportFormatOptions shapeFor(const ClipExportOptions& options, Clip& clip) {
    ExportFormatOptions shape = options.shape;
    shape.curve = options.develop.curve;
    if (shape.format == ExportFormat::png)
        shape.colours.gains = balanceGains(clip, options.develop.balance, options.develop.warn, options.jobs);
    if (shape.format != ExportFormat::dng) return shape;
    const bool named = options.neutral == "auto" || options.neutral == "clip";
    const Balance balance = options.neutral == "clip" ? Balance::clip : Balance::automatic;
    shape.colours.gains =
        named ? balanceGains(clip, balance, options.develop.warn, options.jobs) : gainsFor(options.neutral);
    if (!options.matrix.empty()) shape.colours.matrix = readColourMatrix(options.matrix);
    return shape;
}

/// Throws std::runtime_error when the disk has too little room, before the work starts.
void requireSpace(const std::string& directory, const FrameExporter& exporter, const FrameSet& frames) {
    constexpr double kGiga = 1e9;
    std::uint64_t needed = 0;
    for (const std::uint32_t frame : frames)
        needed += exporter.neededSpace(frame);
    std::error_code error;
    const std::uintmax_t available = std::filesystem::space(directory, error).available;
    if (!error && needed > available)
        throw std::runtime_error(fmt::format("{}: the export needs {:.3f} GB, but only {:.3f} GB are free",
                                             directory, static_cast<double>(needed) / kGiga,
                                             static_cast<double>(available) / kGiga));
}

/// Removes the temporary files that a killed run of the same export left.
void removeOwnLeftovers(const ExportFiles& files, const FrameSet& frames, const std::string& directory) {
    removeLeftovers(directory, [&](const std::string& name) {
        return std::any_of(frames.begin(), frames.end(), [&](std::uint32_t frame) {
            return std::filesystem::path(files.path(frame)).filename() == name;
        });
    });
}

ExportStart startOf(const ClipExportOptions& options) {
    if (options.perFrame.resume) return ExportStart::resume;
    return options.overwrite ? ExportStart::replace : ExportStart::fresh;
}

/// Adds a list of the folder's files to its media hash history.
void addHashList(const ClipExportOptions& options, const std::string& directory,
                 const std::map<std::string, std::string>& written, CommandContext& context) {
    MediaHashHistory history(directory);
    auto findings = history.findings();
    std::ranges::move(history.addGeneration(*options.perFrame.delivery, written),
                      std::back_inserter(findings));
    for (const HashFinding& finding : findings)
        console::complain(
            fmt::format("{}: {}", (std::filesystem::path(directory) / finding.path).string(), finding.text));
    if (!findings.empty()) context.exitStatus = std::max(context.exitStatus, 1);
}

} // namespace

ExportTally exportClip(const ClipExportOptions& options, const std::string& path,
                       const std::string& directory, CommandContext& context) {
    Clip clip(context.plugin(), path);
    const FrameSet frames = selectedFrames(options.frames, clip);
    const auto [part, parts] = selectedPart(options.frames);
    makeFolder(directory);
    const ExportFiles files(clip, directory, shapeFor(options, clip));
    if (startOf(options) == ExportStart::fresh) refuseToOverwrite(files, frames);
    const std::string name = std::filesystem::path(path).stem().string();
    const auto isSelected = [&frames](std::uint32_t frame) { return frames.contains(frame); };
    ExportJournal journal(exportFileNames(directory, name, part, parts),
                          {identifyClip(path), files.options()}, startOf(options), isSelected,
                          options.perFrame.sync);
    removeOwnLeftovers(files, frames, directory);
    FrameExporter exporter(files, journal, options.perFrame);
    requireSpace(directory, exporter, frames);

    ExportTally tally;
    bool ended = true;
    Progress progress(frames.size(), clip.frameBytes(), !context.quiet);
    const auto work = [&exporter](Clip& own, Picture& picture, std::uint32_t frame) {
        return exporter.exportFrame(own, picture, frame);
    };
    const auto take = [&](std::uint32_t frame, const FrameOutcome& outcome) {
        tally.count(outcome);
        progress.frameDone();
        ended = !outcome.isLast;
        if (outcome.reading.state != FrameReading::State::ok)
            console::complain(fmt::format("{}: frame {}: {}", path, frame, outcome.reading.reason));
    };
    try {
        forEachFrame(context.plugin(), clip, frames, options.jobs, work, take);
    } catch (const std::exception&) {
        progress.clear();
        console::complain(fmt::format("{}: stopped after {} of {} files were written (--resume continues)",
                                      path, exporter.written(), frames.size()));
        throw;
    }
    progress.clear();
    tally.throughput = progress.throughput();
    if (ended) journal.finish();
    if (ended && part > 0) mergeParts(directory, name, parts, options.perFrame.sync);
    if (ended && options.perFrame.delivery)
        addHashList(options, directory, exporter.deliveryHashes(), context);
    if (tally.read.damaged + tally.read.unreadable > 0) context.exitStatus = std::max(context.exitStatus, 1);
    return tally;
}
