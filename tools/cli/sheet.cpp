// `krw sheet`: a contact sheet of a clip.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_selection.h"
#include "tools/cli/picture_output.h"
#include "tools/clip/interrupt.h"
#include "tools/picture/clip_sheet.h"

#include <fmt/format.h>
#include <memory>

namespace {

struct SheetOptions {
    std::string clip;
    std::string output;
    std::string frames;
    ClipSheetOptions sheet;
    bool overwrite = false;
};

void drawSheet(const SheetOptions& options, CommandContext& context) {
    checkPictureOutput(options.output, options.overwrite);
    Clip clip(context.plugin(), options.clip);
    const FrameRange range = selectedRange(options.frames, clip.frames(), options.clip);
    const auto take = [&](std::uint32_t frame, const FrameReading& reading) {
        interrupt::check();
        if (reading.state == FrameReading::State::ok) return;
        context.exitStatus = 1;
        console::complain(fmt::format("{}: frame {}: {}", options.clip, frame, reading.reason));
    };
    writePicture(options.output, drawClipSheet(clip, range, options.sheet, take), options.overwrite);
}

} // namespace

void addSheet(CLI::App& program, CommandContext& context) {
    Command command(program, "sheet", "Draw a contact sheet of developed thumbnails");
    const auto options = std::make_shared<SheetOptions>();
    addClipArgument(command, options->clip);
    addPictureOutput(command, options->output, options->overwrite);
    command.option("--count", options->sheet.count, "Thumbnails, spread evenly")
        .valueName("N")
        .inRange(std::int64_t{1}, std::int64_t{400});
    command.option("--thumb-width", options->sheet.thumbWidth, "Largest width of a thumbnail in pixels")
        .valueName("PIXELS")
        .inRange(std::int64_t{120}, std::int64_t{2048});
    addFramesOption(command, options->frames);
    addDevelopOptions(command, options->sheet.develop);
    command.footer("Examples:\n"
                   "  krw sheet A001C003.krw -o A001C003.png\n"
                   "  krw sheet A001C003.krw -o tail.png --frames 200- --count 20 --curve log");
    command.run([options, &context] { drawSheet(*options, context); });
}
