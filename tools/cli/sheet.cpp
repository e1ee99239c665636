// `krw sheet`: a contact sheet of a clip.

#include "tools/cli/clip_list.h"
#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_selection.h"
#include "tools/cli/picture_output.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/interrupt.h"
#include "tools/picture/clip_sheet.h"

#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace {

struct SheetOptions {
    ClipArguments clips;
    std::string output;
    FrameSelection frames;
    ClipSheetOptions sheet;
    bool overwrite = false;
};

void drawSheet(const SheetOptions& options, const std::string& path, const std::string& output,
               CommandContext& context) {
    checkPictureOutput(output, options.overwrite);
    Clip clip(context.plugin(), path);
    const auto take = [&](std::uint32_t frame, const FrameReading& reading) {
        interrupt::check();
        if (reading.state == FrameReading::State::ok) return;
        context.exitStatus = 1;
        console::complain(fmt::format("{}: frame {}: {}", path, frame, reading.reason));
    };
    writePicture(output, drawClipSheet(clip, selectedFrames(options.frames, clip), options.sheet, take),
                 options.overwrite);
}

/// Writes one picture, or a folder with a picture for each clip.
void drawSheets(const SheetOptions& options, CommandContext& context) {
    if (!options.clips.isOneFile()) {
        if (isStandardOutput(options.output))
            throw UsageError("-o: several clips have several sheets; name a folder for them");
        requireOwnOutputs(options.clips);
    }
    forEachClip(options.clips, context, [&](const ListedClip& clip) {
        if (options.clips.isOneFile()) return drawSheet(options, clip.path, options.output, context);
        std::filesystem::path output = options.output / clip.outputs;
        output += ".png";
        makeFolder(output.parent_path().string());
        drawSheet(options, clip.path, output.string(), context);
    });
}

} // namespace

void addSheet(CLI::App& program, CommandContext& context) {
    Command command(program, "sheet", "Draw a contact sheet of developed thumbnails");
    const auto options = std::make_shared<SheetOptions>();
    addClipArguments(command, options->clips);
    addPictureOutput(command, options->output, options->overwrite);
    command.option("--count", options->sheet.count, "Thumbnails, spread evenly")
        .valueName("N")
        .inRange(std::int64_t{1}, std::int64_t{400});
    command.option("--thumb-width", options->sheet.thumbWidth, "Largest width of a thumbnail in pixels")
        .valueName("PIXELS")
        .inRange(std::int64_t{120}, std::int64_t{2048});
    addFramesOption(command, options->frames.list);
    addDevelopOptions(command, options->sheet.develop);
    command.footer("With several clips or -r, OUT.png is a folder for one picture of each clip.\n"
                   "Examples:\n"
                   "  krw sheet A001C003.krw -o A001C003.png\n"
                   "  krw sheet -r /card -o sheets\n"
                   "  krw sheet A001C003.krw -o tail.png --frames 200- --count 20 --curve log");
    command.run([options, &context] { drawSheets(*options, context); });
}
