// `krw verify`: reads every frame and says what came out, so that two copies of a clip can be compared.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_tally.h"
#include "tools/cli/open_clip.h"
#include "tools/cli/progress.h"
#include "tools/cli/verify_hash_lists.h"
#include "tools/cli/verify_list.h"
#include "tools/clip/frame_workers.h"
#include "tools/recover/table_check.h"

#include <fmt/format.h>
#include <memory>
#include <optional>
#include <xxhash.h>

namespace {

struct VerifyOptions {
    std::string clip;
    FrameSelection frames;
    std::string against;
    unsigned jobs = 1;
    bool null = false;
    bool hashLists = false; // the path is a folder with a history
};

struct Tally {
    FrameTally read;
    std::uint32_t different = 0;
};

FrameOutcome hashFrame(Clip& clip, Picture& picture, std::uint32_t frame, bool hashed) {
    FrameOutcome outcome{clip.read(frame, picture)};
    const auto samples = picture.samples();
    if (hashed && outcome.reading.state != FrameReading::State::unreadable)
        outcome.hash = XXH3_64bits(samples.data(), samples.size_bytes());
    return outcome;
}

std::string summary(const Tally& tally, bool compared) {
    std::string text = fmt::format("{} ok, {} damaged, {} unreadable", tally.read.ok, tally.read.damaged,
                                   tally.read.unreadable);
    if (compared) text += fmt::format(", {} different from the list", tally.different);
    return text;
}

/// Complains about frames that the clip's table does not know, where the whole clip is verified.
bool isTableSound(const VerifyOptions& options, bool quiet) {
    if (!options.frames.range.empty() || !options.frames.part.empty()) return true;
    const TableReport table = checkTable(options.clip);
    if (!quiet && (table.origin != TableReport::Origin::stored || !table.trouble.empty()))
        console::note(fmt::format("{}: frame table {}", options.clip, describeTable(table)));
    return complainAboutTable(options.clip, table);
}

/// Frames that the list has and the clip has not.
std::size_t lostFrames(const VerifyOptions& options, const VerifyList& earlier, const Clip& clip) {
    const bool wholeClip = options.frames.range.empty() && options.frames.part.empty();
    const std::size_t lost = wholeClip ? earlier.linesFrom(clip.frames()) : 0;
    if (lost > 0)
        console::complain(
            fmt::format("{}: has {} frames, the list has {} more", options.clip, clip.frames(), lost));
    return lost;
}

void verify(const VerifyOptions& options, CommandContext& context) {
    Clip clip = openClip(context.plugin(), options.clip);
    const FrameRange range = selectedFrames(options.frames, clip.frames(), options.clip);
    std::optional<VerifyList> earlier;
    if (!options.against.empty()) earlier.emplace(options.against);

    Tally tally;
    Progress progress(range.count, clip.frameBytes(), !context.quiet);
    const auto work = [&options](Clip& own, Picture& picture, std::uint32_t frame) {
        return hashFrame(own, picture, frame, !options.null);
    };
    const auto take = [&](std::uint32_t frame, const FrameOutcome& outcome) {
        tally.read.count(outcome.reading.state);
        if (outcome.reading.state != FrameReading::State::ok)
            console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, outcome.reading.reason));
        const VerifyLine line = verifyLine(clip, frame, outcome);
        if (!options.null) console::print(line.text() + "\n");
        const std::string difference = earlier ? earlier->difference(line) : std::string();
        if (!difference.empty()) {
            ++tally.different;
            console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, difference));
        }
        progress.frameDone();
    };
    forEachFrame(context.plugin(), clip, range, options.jobs, work, take);
    progress.clear();

    const std::size_t lost = earlier ? lostFrames(options, *earlier, clip) : 0;
    if (tally.read.damaged + tally.read.unreadable + tally.different + lost > 0) context.exitStatus = 1;
    if (!isTableSound(options, context.quiet)) context.exitStatus = 1;
    if (options.null) console::print(progress.speed() + "\n");
    console::flush();
    if (context.quiet) return;
    console::note(fmt::format("{}: {}", options.clip, summary(tally, earlier.has_value())));
    if (!options.null) console::note(progress.speed());
}

} // namespace

void addVerify(CLI::App& program, CommandContext& context) {
    Command command(program, "verify", "Read every frame; list number, timecode, hash and status of each");
    const auto options = std::make_shared<VerifyOptions>();
    addClipArgument(command, options->clip);
    addFrameSelection(command, options->frames);
    addJobsOption(command, options->jobs);
    const CommandOption null =
        command.flag("--null", options->null, "Reading speed alone: no hashes, no list");
    command.option("--against", options->against, "Compare with the list of an earlier run")
        .valueName("LIST")
        .excludes(null);
    command.flag("--mhl", options->hashLists, "FILE is a folder: compare it with its ASC MHL history");
    command.footer(
        "The hash is XXH3-64 of the frame's mosaic (16-bit little-endian samples, row after row).\n"
        "Examples:\n"
        "  krw verify A001C003.krw > A001C003.frames\n"
        "  krw verify /backup/A001C003.krw --against A001C003.frames --jobs 4\n"
        "  krw verify A001C003.krw --null --jobs 2\n"
        "  krw verify --mhl A001C003 > A001C003.xxh64");
    command.run([options, &context] {
        if (options->hashLists)
            verifyHashLists(options->clip, context);
        else
            verify(*options, context);
    });
}
