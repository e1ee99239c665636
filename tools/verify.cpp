// `krw verify`: reads every frame and says what came out, so that two copies of a clip can be compared.

#include "tools/command_options.h"
#include "tools/commands.h"
#include "tools/console.h"
#include "tools/frame_list.h"
#include "tools/frame_workers.h"
#include "tools/progress.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <optional>
#include <xxhash.h>

namespace {

struct VerifyOptions {
    std::string clip;
    FrameChoice frames;
    std::string against;
    unsigned jobs = 1;
    bool null = false;
};

struct Tally {
    std::uint32_t ok = 0;
    std::uint32_t damaged = 0;
    std::uint32_t unreadable = 0;
    std::uint32_t different = 0;
};

FrameOutcome hashFrame(Clip& clip, Picture& picture, std::uint32_t frame, bool hashed) {
    FrameOutcome outcome{clip.read(frame, picture)};
    const auto samples = picture.samples();
    if (hashed && outcome.reading.state != FrameReading::State::unreadable)
        outcome.hash = XXH3_64bits(samples.data(), samples.size_bytes());
    return outcome;
}

void count(Tally& tally, FrameReading::State state) {
    switch (state) {
    case FrameReading::State::ok:
        ++tally.ok;
        break;
    case FrameReading::State::damaged:
        ++tally.damaged;
        break;
    case FrameReading::State::unreadable:
        ++tally.unreadable;
        break;
    }
}

std::string summary(const Tally& tally, bool compared) {
    std::string text =
        fmt::format("{} ok, {} damaged, {} unreadable", tally.ok, tally.damaged, tally.unreadable);
    if (compared) text += fmt::format(", {} different from the list", tally.different);
    return text;
}

/// Frames that the list has and the clip has not.
std::size_t lostFrames(const VerifyOptions& options, const FrameList& earlier, const Clip& clip) {
    const bool wholeClip = options.frames.range.empty() && options.frames.part.empty();
    const std::size_t lost = wholeClip ? earlier.linesFrom(clip.frames()) : 0;
    if (lost > 0)
        console::complain(
            fmt::format("{}: has {} frames, the list has {} more", options.clip, clip.frames(), lost));
    return lost;
}

void verify(const VerifyOptions& options, Session& session) {
    Clip clip(session.plugin(), options.clip);
    const FrameRange range = chosenFrames(options.frames, clip.frames(), options.clip);
    std::optional<FrameList> earlier;
    if (!options.against.empty()) earlier.emplace(options.against);

    Tally tally;
    Progress progress(range.count, clip.frameBytes(), !session.quiet);
    const auto work = [&options](Clip& own, Picture& picture, std::uint32_t frame) {
        return hashFrame(own, picture, frame, !options.null);
    };
    const auto take = [&](std::uint32_t frame, const FrameOutcome& outcome) {
        count(tally, outcome.reading.state);
        if (outcome.reading.state != FrameReading::State::ok)
            console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, outcome.reading.reason));
        const FrameLine line = frameLine(clip, frame, outcome);
        if (!options.null) console::print(line.text() + "\n");
        const std::string difference = earlier ? earlier->difference(line) : std::string();
        if (!difference.empty()) {
            ++tally.different;
            console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, difference));
        }
        progress.frameDone();
    };
    forEachFrame(session.plugin(), clip, range, options.jobs, work, take);
    progress.clear();

    const std::size_t lost = earlier ? lostFrames(options, *earlier, clip) : 0;
    if (tally.damaged + tally.unreadable + tally.different + lost > 0) session.exitStatus = 1;
    if (options.null) console::print(progress.speed() + "\n");
    console::flush();
    if (session.quiet) return;
    console::note(fmt::format("{}: {}", options.clip, summary(tally, earlier.has_value())));
    if (!options.null) console::note(progress.speed());
}

} // namespace

void addVerify(CLI::App& program, Session& session) {
    CLI::App* const command =
        program.add_subcommand("verify", "Read every frame; list number, timecode, hash and status of each");
    const auto options = std::make_shared<VerifyOptions>();
    addClipArgument(*command, options->clip);
    addFrameChoice(*command, options->frames);
    addJobsOption(*command, options->jobs);
    CLI::Option* const null =
        command->add_flag("--null", options->null, "Reading speed alone: no hashes, no list");
    command->add_option("--against", options->against, "Compare with the list of an earlier run")
        ->type_name("LIST")
        ->excludes(null);
    command->footer(
        "The hash is XXH3-64 of the frame's mosaic (16-bit little-endian samples, row after row).\n"
        "Examples:\n"
        "  krw verify A001C003.krw > A001C003.frames\n"
        "  krw verify /backup/A001C003.krw --against A001C003.frames --jobs 4\n"
        "  krw verify A001C003.krw --null --jobs 2");
    command->callback([options, &session] { verify(*options, session); });
}
