// `krw export`: frames of a clip as picture files, each written whole or not at all.

#include "tools/command_options.h"
#include "tools/commands.h"
#include "tools/console.h"
#include "tools/export_files.h"
#include "tools/frame_workers.h"
#include "tools/output_file.h"
#include "tools/progress.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fmt/format.h>
#include <optional>

namespace {

struct ExportOptions {
    std::string clip;
    std::string directory;
    std::string format = "dng";
    FrameChoice frames;
    unsigned jobs = 1;
    bool resume = false;
    bool overwrite = false;
    bool strict = false;
    DevelopOptions develop;
    std::string names = "number";
};

struct Tally {
    std::uint32_t exported = 0;
    std::uint32_t damaged = 0;
    std::uint32_t unreadable = 0;
    std::uint32_t skipped = 0;
};

void count(Tally& tally, const FrameOutcome& outcome) {
    if (outcome.skipped) {
        ++tally.skipped;
        return;
    }
    switch (outcome.reading.state) {
    case FrameReading::State::ok:
        ++tally.exported;
        break;
    case FrameReading::State::damaged:
        ++tally.damaged;
        break;
    case FrameReading::State::unreadable:
        ++tally.unreadable;
        break;
    }
}

void refuseToOverwrite(const ExportFiles& files, const FrameRange& range) {
    for (std::uint32_t index = 0; index < range.count; ++index) {
        const std::string path = files.path(range.first + index);
        if (std::filesystem::exists(path))
            throw std::runtime_error(
                fmt::format("{}: exists already (--resume keeps whole files, --overwrite "
                            "replaces)",
                            path));
    }
}

void writeWhole(const std::string& path, std::span<const std::uint8_t> bytes) {
    OutputFile file(path);
    file.write(bytes);
    file.finish();
}

void makeDirectory(const std::string& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) throw std::runtime_error(fmt::format("{}: {}", directory, error.message()));
}

/// What developed pictures need, and nothing else does.
std::optional<Developer> developerFor(const ExportOptions& options, Clip& clip) {
    if (exportFormats().at(options.format) != ExportFormat::png) return std::nullopt;
    return makeDeveloper(clip, options.develop);
}

void exportFrames(const ExportOptions& options, Session& session) {
    Clip clip(session.plugin(), options.clip);
    const FrameRange range = chosenFrames(options.frames, clip.frames(), options.clip);
    makeDirectory(options.directory);
    const ExportFiles files(clip, options.directory, options.format, nameStyles().at(options.names),
                            developerFor(options, clip));
    if (!options.resume && !options.overwrite) refuseToOverwrite(files, range);

    Tally tally;
    Progress progress(range.count, clip.frameBytes(), !session.quiet);
    const auto work = [&](Clip& own, Picture& picture, std::uint32_t frame) {
        FrameOutcome outcome;
        const std::string path = files.path(frame);
        outcome.skipped = options.resume && files.isWhole(path);
        if (outcome.skipped) return outcome;
        outcome.reading = own.read(frame, picture);
        const bool ok = outcome.reading.state == FrameReading::State::ok;
        outcome.isLast = options.strict && !ok;
        if (outcome.reading.state != FrameReading::State::unreadable && !outcome.isLast)
            writeWhole(path, files.encode(picture.view(), frame));
        return outcome;
    };
    const auto take = [&](std::uint32_t frame, const FrameOutcome& outcome) {
        count(tally, outcome);
        progress.frameDone();
        if (outcome.reading.state != FrameReading::State::ok)
            console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, outcome.reading.reason));
    };
    forEachFrame(session.plugin(), clip, range, options.jobs, work, take);
    progress.clear();

    if (tally.damaged + tally.unreadable > 0) session.exitStatus = 1;
    if (!session.quiet)
        console::note(fmt::format("{}: {} exported, {} damaged, {} unreadable, {} skipped; {}", options.clip,
                                  tally.exported, tally.damaged, tally.unreadable, tally.skipped,
                                  progress.speed()));
}

} // namespace

void addExport(CLI::App& program, Session& session) {
    CLI::App* const command = program.add_subcommand("export", "Write frames as picture files");
    const auto options = std::make_shared<ExportOptions>();
    addClipArgument(*command, options->clip);
    command->add_option("-o,--output", options->directory, "Directory for the files; made when missing")
        ->type_name("DIR")
        ->required();
    command->add_option("--format", options->format, "What to write")
        ->check(CLI::IsMember(exportFormats()))
        ->capture_default_str();
    addFrameChoice(*command, options->frames);
    addJobsOption(*command, options->jobs);
    command->add_option("--names", options->names, "What to name files after")
        ->check(CLI::IsMember(nameStyles()))
        ->capture_default_str();
    CLI::Option* const resume =
        command->add_flag("--resume", options->resume, "Skip frames whose file is there and whole");
    command->add_flag("--overwrite", options->overwrite, "Replace files that are there")->excludes(resume);
    command->add_flag("--strict", options->strict, "Stop at the first frame that is not in order");
    addDevelopOptions(*command, options->develop);
    command->footer(
        "Damaged frames (a colour plane breaks off) are written as far as they go, unless --strict\n"
        "is given; unreadable ones are named and left out. Both make the exit status 1.\n"
        "Examples:\n"
        "  krw export A001C003.krw -o A001C003 --frames 0-99 --jobs 4\n"
        "  krw export A001C003.krw -o A001C003 --format png --balance clip --resume");
    command->callback([options, &session] { exportFrames(*options, session); });
}
