// `krw info`: what the plug-in tells a host about a clip.

#include "tools/cli/clip_list.h"
#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_selection.h"
#include "tools/cli/open_clip.h"
#include "tools/cli/picture_output.h"
#include "tools/cli/report_text.h"
#include "tools/cli/usage_error.h"
#include "tools/picture/histogram.h"
#include "tools/recover/table_check.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

struct InfoOptions {
    ClipArguments clips;
    FrameSelection frames;
    std::string histogram;
    bool overwrite = false;
    bool json = false;
};

/// First, middle and last frame, or every frame that was asked for.
FrameSet framesToTry(const InfoOptions& options, const Clip& clip) {
    const FrameSet selected = selectedFrames(options.frames, clip);
    return options.frames.list.empty() ? sampledFrames(0, clip.frames()) : selected;
}

/// Draws the histograms of the middle selected frame, or of the first readable frame after it.
void writeHistogram(const InfoOptions& options, Clip& clip) {
    const FrameSet frames = selectedFrames(options.frames, clip);
    Picture picture = clip.makePicture();
    for (const std::uint32_t frame : frames.part(frames.size() / 2, frames.size())) {
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
    throw std::runtime_error(fmt::format("{}: no readable frame to draw a histogram of", clip.path()));
}

/// The report on one clip, as text or as JSON. Sets the exit status when something is wrong.
std::string describeClip(const InfoOptions& options, const std::string& path, CommandContext& context) {
    const Plugin& plugin = context.plugin();
    Clip clip = openClip(plugin, path);
    ClipReport report = makeClipReport(plugin, clip, framesToTry(options, clip));
    report.table = checkTable(clip.file());
    if (!complainAboutTable(path, *report.table)) context.exitStatus = std::max(context.exitStatus, 1);
    for (const TriedFrame& tried : report.tried)
        if (tried.reading.state != FrameReading::State::ok) context.exitStatus = 1;
    if (!options.histogram.empty()) writeHistogram(options, clip);
    return options.json ? reportJson(report) : reportText(report);
}

void info(const InfoOptions& options, CommandContext& context) {
    const bool isOne = options.clips.isOneFile();
    if (!options.histogram.empty() && !isOne)
        throw UsageError("--histogram draws one picture of one clip; several clips are given");
    if (isStandardOutput(options.histogram))
        throw UsageError("--histogram: standard output has the text; name a file for the picture");
    if (!options.histogram.empty()) checkPictureOutput(options.histogram, options.overwrite);
    std::vector<std::string> reports;
    bool isFirst = true;
    forEachClip(options.clips, context, [&](const ListedClip& clip) {
        const std::string report = describeClip(options, clip.path, context);
        if (options.json && !isOne)
            reports.push_back(report);
        else
            console::print((std::exchange(isFirst, false) ? "" : "\n") + report);
    });
    if (options.json && !isOne) console::print(reportListJson(reports));
}

} // namespace

void addInfo(CLI::App& program, CommandContext& context) {
    Command command(program, "info", "Tell picture, rate, timecode, camera, take and side-car metadata");
    const auto options = std::make_shared<InfoOptions>();
    addClipArguments(command, options->clips);
    command.flag("--json", options->json, "Print one JSON document (docs/json.md)");
    command
        .option("--frames", options->frames.list, "Frames to read for a check; default: first, middle, last")
        .valueName("LIST");
    const CommandOption histogram =
        command.option("--histogram", options->histogram, "Draw the histograms of the four colour planes")
            .valueName("OUT.png");
    command.flag("--overwrite", options->overwrite, "Replace the picture when it is there").needs(histogram);
    command.footer("Examples:\n"
                   "  krw info A001C003.krw\n"
                   "  krw info --json A001C003.krw | jq -r .video.timecode.first.text\n"
                   "  krw info -r /card\n"
                   "  krw info A001C003.krw --histogram levels.png --frames 100");
    command.run([options, &context] { info(*options, context); });
}
