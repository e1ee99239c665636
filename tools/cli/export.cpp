// `krw export`: frames of a clip as picture files, each written whole or not at all.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_tally.h"
#include "tools/cli/progress.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/frame_workers.h"
#include "tools/export/export_files.h"
#include "tools/export/export_parts.h"
#include "tools/export/frame_exporter.h"
#include "tools/export/media_hash_list.h"
#include "tools/export/output_file.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>

namespace {

struct ExportOptions {
    std::string clip;
    std::string directory;
    ExportFormatOptions shape;
    FrameSelection frames;
    unsigned jobs = 1;
    bool overwrite = false;
    FrameExportOptions perFrame;
    DevelopOptions develop;
    std::string neutral = "auto";
    std::string matrix; // file, empty for none
    bool hashList = false;
    HashKind hashKind = HashKind::xxh64;
};

struct Tally {
    FrameTally read; // those that are ok were exported
    std::uint32_t skipped = 0;

    void count(const FrameOutcome& outcome) {
        if (outcome.skipped)
            ++skipped;
        else
            read.count(outcome.reading.state);
    }
};

void refuseToOverwrite(const ExportFiles& files, const FrameRange& range) {
    for (std::uint32_t index = 0; index < range.count; ++index) {
        const std::string path = files.path(range.first + index);
        if (std::filesystem::exists(path))
            throw std::runtime_error(
                fmt::format("{}: exists already (--resume continues an export, --overwrite replaces)", path));
    }
}

void makeDirectory(const std::string& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) throw std::runtime_error(fmt::format("{}: {}", directory, error.message()));
}

/// "R,G,B": the samples of something white. Throws UsageError for anything else.
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

/// What shapes the files, with the colours that the options and the clip make of it.
ExportFormatOptions shapeFor(const ExportOptions& options, Clip& clip) {
    ExportFormatOptions shape = options.shape;
    shape.curve = options.develop.curve;
    if (shape.format == ExportFormat::png) shape.colours.gains = balanceGains(clip, options.develop.balance);
    if (shape.format != ExportFormat::dng) return shape;
    const bool named = options.neutral == "auto" || options.neutral == "clip";
    const Balance balance = options.neutral == "clip" ? Balance::clip : Balance::automatic;
    shape.colours.gains = named ? balanceGains(clip, balance) : gainsFor(options.neutral);
    if (!options.matrix.empty()) shape.colours.matrix = readColourMatrix(options.matrix);
    return shape;
}

/// Says that the folder's disk is too small before the work starts.
void requireSpace(const std::string& directory, const FrameExporter& exporter, const FrameRange& range) {
    constexpr double kGiga = 1e9;
    std::uint64_t needed = 0;
    for (std::uint32_t index = 0; index < range.count; ++index)
        needed += exporter.neededSpace(range.first + index);
    std::error_code error;
    const std::uintmax_t available = std::filesystem::space(directory, error).available;
    if (!error && needed > available)
        throw std::runtime_error(fmt::format("{}: the export needs {:.3f} GB, {:.3f} GB are free", directory,
                                             static_cast<double>(needed) / kGiga,
                                             static_cast<double>(available) / kGiga));
}

/// Removes the temporary files that a killed run of the same export left.
void removeOwnLeftovers(const ExportFiles& files, const FrameRange& range, const std::string& directory) {
    removeLeftovers(directory, [&](const std::string& name) {
        for (std::uint32_t index = 0; index < range.count; ++index)
            if (std::filesystem::path(files.path(range.first + index)).filename() == name) return true;
        return false;
    });
}

ExportStart startOf(const ExportOptions& options) {
    if (options.perFrame.resume) return ExportStart::resume;
    return options.overwrite ? ExportStart::replace : ExportStart::fresh;
}

/// Puts the folder as it is now into its history.
void addHashList(const ExportOptions& options, const std::map<std::string, std::string>& written,
                 CommandContext& context) {
    MediaHashHistory history(options.directory);
    auto findings = history.findings();
    std::ranges::move(history.addGeneration(*options.perFrame.delivery, written),
                      std::back_inserter(findings));
    for (const HashFinding& finding : findings)
        console::complain(fmt::format(
            "{}: {}", (std::filesystem::path(options.directory) / finding.path).string(), finding.text));
    if (!findings.empty()) context.exitStatus = 1;
}

void exportFrames(const ExportOptions& options, CommandContext& context) {
    Clip clip(context.plugin(), options.clip);
    const FrameRange range = selectedFrames(options.frames, clip.frames(), options.clip);
    const auto [part, parts] = selectedPart(options.frames, options.clip);
    makeDirectory(options.directory);
    const ExportFiles files(clip, options.directory, shapeFor(options, clip));
    if (startOf(options) == ExportStart::fresh) refuseToOverwrite(files, range);
    const std::string name = std::filesystem::path(options.clip).stem().string();
    const auto isSelected = [range](std::uint32_t frame) {
        return frame >= range.first && frame - range.first < range.count;
    };
    ExportJournal journal(exportFileNames(options.directory, name, part, parts),
                          {identifyClip(options.clip), files.options()}, startOf(options), isSelected,
                          options.perFrame.sync);
    removeOwnLeftovers(files, range, options.directory);
    FrameExporter exporter(files, journal, options.perFrame);
    requireSpace(options.directory, exporter, range);

    Tally tally;
    bool ended = true;
    Progress progress(range.count, clip.frameBytes(), !context.quiet);
    const auto work = [&exporter](Clip& own, Picture& picture, std::uint32_t frame) {
        return exporter.exportFrame(own, picture, frame);
    };
    const auto take = [&](std::uint32_t frame, const FrameOutcome& outcome) {
        tally.count(outcome);
        progress.frameDone();
        ended = !outcome.isLast;
        if (outcome.reading.state != FrameReading::State::ok)
            console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, outcome.reading.reason));
    };
    try {
        forEachFrame(context.plugin(), clip, range, options.jobs, work, take);
    } catch (const std::exception&) {
        progress.clear();
        console::complain(fmt::format("{}: stopped after {} of {} files were written (--resume continues)",
                                      options.clip, exporter.written(), range.count));
        throw;
    }
    progress.clear();
    if (ended) journal.finish();
    if (ended && part > 0) mergeParts(options.directory, name, parts, options.perFrame.sync);
    if (ended && options.perFrame.delivery) addHashList(options, exporter.deliveryHashes(), context);

    if (tally.read.damaged + tally.read.unreadable > 0) context.exitStatus = 1;
    if (!context.quiet)
        console::note(fmt::format("{}: {} exported, {} damaged, {} unreadable, {} skipped; {}", options.clip,
                                  tally.read.ok, tally.read.damaged, tally.read.unreadable, tally.skipped,
                                  progress.speed()));
}

} // namespace

void addExport(CLI::App& program, CommandContext& context) {
    Command command(program, "export", "Write frames as picture files");
    const auto options = std::make_shared<ExportOptions>();
    addClipArgument(command, options->clip);
    command.option("-o,--output", options->directory, "Directory for the files; made when missing")
        .valueName("DIR")
        .required();
    command.choice("--format", options->shape.format, exportFormats(), "What to write");
    addFrameSelection(command, options->frames);
    addJobsOption(command, options->jobs);
    command.choice("--compression", options->shape.compression, compressions(), "Of DNG files");
    command
        .option("--neutral", options->neutral,
                "White of DNG files: auto (the clip's gains, or an estimate), clip, or its samples R,G,B")
        .valueName("WHITE");
    command
        .option("--matrix", options->matrix,
                "Colour matrix of DNG files, from CIE XYZ to the camera's colours: a file of nine numbers")
        .valueName("FILE");
    command.choice("--names", options->shape.names, nameStyles(), "What to name files after");
    const CommandOption resume =
        command.flag("--resume", options->perFrame.resume,
                     "Continue an export: write what is missing, try failed frames again");
    command.flag("--check", options->perFrame.check, "Compare the hashes of the files that are there")
        .needs(resume);
    command.flag("--overwrite", options->overwrite, "Replace files that are there").excludes(resume);
    command.flag("--strict", options->perFrame.strict, "Stop at the first frame that is not in order");
    command.flag("--sync", options->perFrame.sync, "Bring each file to the disk before it counts as done");
    const CommandOption hashList =
        command.flag("--mhl", options->hashList, "Add a list of the folder's files to its ASC MHL history");
    command.choice("--mhl-hash", options->hashKind, hashKinds(), "Hash in that list").needs(hashList);
    addDevelopOptions(command, options->develop);
    command.footer(
        "Damaged frames (a colour plane breaks off) are written as far as they go, unless --strict\n"
        "is given; unreadable ones are named and left out. Both make the exit status 1.\n"
        "DIR/CLIP.krw-export.json lists the frames with hashes of pictures and files.\n"
        "Examples:\n"
        "  krw export A001C003.krw -o A001C003 --frames 0-99 --jobs 4\n"
        "  krw export A001C003.krw -o A001C003 --format png --balance clip --resume");
    command.run([options, &context] {
        if (options->hashList) options->perFrame.delivery = options->hashKind;
        if (options->hashList && !options->frames.part.empty())
            throw UsageError("--mhl lists a whole folder: run it with --resume when all parts have ended");
        exportFrames(*options, context);
    });
}
