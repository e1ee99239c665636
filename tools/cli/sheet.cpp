// `krw sheet`: a contact sheet of a clip.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_selection.h"
#include "tools/cli/picture_output.h"
#include "tools/clip/interrupt.h"
#include "tools/picture/contact_sheet.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace {

struct SheetOptions {
    std::string clip;
    std::string output;
    std::string frames;
    std::uint32_t count = 12;
    std::uint32_t thumbWidth = 240;
    bool overwrite = false;
    DevelopOptions develop;
};

/// `count` frames spread evenly over the range, first and last included.
std::vector<std::uint32_t> spread(const FrameRange& range, std::uint32_t count) {
    const std::uint32_t shown = std::min(count, range.count);
    std::vector<std::uint32_t> frames;
    for (std::uint32_t index = 0; index < shown; ++index)
        frames.push_back(range.first +
                         static_cast<std::uint32_t>(
                             shown > 1 ? std::uint64_t{index} * (range.count - 1) / (shown - 1) : 0));
    return frames;
}

std::uint32_t shrinkFor(const Clip& clip, std::uint32_t thumbWidth) {
    return std::max<std::uint32_t>(1, (clip.width() / 2 + thumbWidth - 1) / thumbWidth);
}

ContactSheet makeSheet(const Clip& clip, std::size_t count, std::uint32_t shrink) {
    const SheetFormat format{static_cast<std::uint32_t>(count),
                             std::max<std::uint32_t>(1, clip.width() / 2 / shrink),
                             std::max<std::uint32_t>(1, clip.height() / 2 / shrink)};
    return {format,
            fmt::format("{}  {} x {}  {} frames", std::filesystem::path(clip.path()).filename().string(),
                        clip.width(), clip.height(), clip.frames())};
}

void drawSheet(const SheetOptions& options, CommandContext& context) {
    checkPictureOutput(options.output, options.overwrite);
    Clip clip(context.plugin(), options.clip);
    const std::vector<std::uint32_t> frames =
        spread(selectedRange(options.frames, clip.frames(), options.clip), options.count);
    const Developer developer = makeDeveloper(clip, options.develop);
    const std::uint32_t shrink = shrinkFor(clip, options.thumbWidth);
    ContactSheet sheet = makeSheet(clip, frames.size(), shrink);
    Picture picture = clip.makePicture();
    for (const std::uint32_t frame : frames) {
        interrupt::check();
        const FrameReading reading = clip.read(frame, picture);
        const bool ok = reading.state == FrameReading::State::ok;
        const std::string caption = fmt::format("{}  {}{}", frame, clip.timecode(frame),
                                                ok ? "" : fmt::format("  {}", stateName(reading.state)));
        if (reading.state == FrameReading::State::unreadable)
            sheet.addMissing(caption);
        else
            sheet.add(developer.develop(picture.view(), shrink), caption, !ok);
        if (ok) continue;
        context.exitStatus = 1;
        console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, reading.reason));
    }
    writePicture(options.output, sheet.image(), options.overwrite);
}

} // namespace

void addSheet(CLI::App& program, CommandContext& context) {
    Command command(program, "sheet", "Draw a contact sheet of developed thumbnails");
    const auto options = std::make_shared<SheetOptions>();
    addClipArgument(command, options->clip);
    addPictureOutput(command, options->output, options->overwrite);
    command.option("--count", options->count, "Thumbnails, spread evenly")
        .valueName("N")
        .inRange(std::int64_t{1}, std::int64_t{400});
    command.option("--thumb-width", options->thumbWidth, "Largest width of a thumbnail in pixels")
        .valueName("PIXELS")
        .inRange(std::int64_t{120}, std::int64_t{2048});
    addFramesOption(command, options->frames);
    addDevelopOptions(command, options->develop);
    command.footer("Examples:\n"
                   "  krw sheet A001C003.krw -o A001C003.png\n"
                   "  krw sheet A001C003.krw -o tail.png --frames 200- --count 20 --curve log");
    command.run([options, &context] { drawSheet(*options, context); });
}
