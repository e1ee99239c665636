// `krw info`: what the plug-in tells a host about a clip.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_selection.h"
#include "tools/cli/open_clip.h"
#include "tools/cli/picture_output.h"
#include "tools/cli/report_text.h"
#include "tools/picture/histogram.h"
#include "tools/recover/table_check.h"

#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <set>

namespace {

struct InfoOptions {
    std::string clip;
    std::string frames;
    std::string histogram;
    bool overwrite = false;
    bool json = false;
};

/// First, middle and last frame, or every frame of the range that was asked for.
std::set<std::uint32_t> framesToTry(const InfoOptions& options, const Clip& clip) {
    const FrameRange range = selectedRange(options.frames, clip.frames(), options.clip);
    if (options.frames.empty()) return sampledFrames(range.first, range.count);
    std::set<std::uint32_t> frames;
    for (std::uint32_t index = 0; index < range.count; ++index)
        frames.insert(range.first + index);
    return frames;
}

/// Of the middle frame of the range, or the first readable one after it.
void writeHistogram(const InfoOptions& options, Clip& clip) {
    const FrameRange range = selectedRange(options.frames, clip.frames(), options.clip);
    const std::uint32_t end = range.first + range.count;
    Picture picture = clip.makePicture();
    for (std::uint32_t frame = range.first + range.count / 2; frame < end; ++frame) {
        if (clip.read(frame, picture).state == FrameReading::State::unreadable) continue;
        const ClipInformation& information = clip.information();
        const std::string title =
            fmt::format("{}  frame {}  {}", std::filesystem::path(clip.path()).filename().string(), frame,
                        clip.timecode(frame));
        return writePicture(options.histogram,
                            drawHistograms(picture.view(), information.number(InfoNumber::rawBlackCodeValue),
                                           information.number(InfoNumber::rawWhiteCodeValue), title),
                            options.overwrite);
    }
    throw std::runtime_error(fmt::format("{}: no readable frame to draw a histogram of", options.clip));
}

void info(const InfoOptions& options, CommandContext& context) {
    if (!options.histogram.empty()) checkPictureOutput(options.histogram, options.overwrite);
    const Plugin& plugin = context.plugin();
    Clip clip = openClip(plugin, options.clip);
    ClipReport report = makeClipReport(plugin, clip, framesToTry(options, clip));
    report.table = checkTable(options.clip);
    console::print(options.json ? reportJson(report) : reportText(report));
    if (!complainAboutTable(options.clip, *report.table)) context.exitStatus = 1;
    for (const TriedFrame& tried : report.tried)
        if (tried.reading.state != FrameReading::State::ok) context.exitStatus = 1;
    if (!options.histogram.empty()) writeHistogram(options, clip);
}

} // namespace

void addInfo(CLI::App& program, CommandContext& context) {
    Command command(program, "info", "Tell picture, rate, timecode, camera, take and side-car metadata");
    const auto options = std::make_shared<InfoOptions>();
    addClipArgument(command, options->clip);
    command.flag("--json", options->json, "Print one JSON document (docs/json.md)");
    command.option("--frames", options->frames, "Frames to read for a check; default: first, middle, last")
        .valueName("RANGE");
    const CommandOption histogram =
        command.option("--histogram", options->histogram, "Draw the histograms of the four colour planes")
            .valueName("OUT.png");
    command.flag("--overwrite", options->overwrite, "Replace the picture when it is there").needs(histogram);
    command.footer("Examples:\n"
                   "  krw info A001C003.krw\n"
                   "  krw info --json A001C003.krw | jq -r .video.timecode.first.text\n"
                   "  krw info A001C003.krw --histogram levels.png --frames 100");
    command.run([options, &context] { info(*options, context); });
}
