// `krw frame`: one developed frame as a picture.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/frame_selection.h"
#include "tools/cli/picture_output.h"

#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace {

struct FrameOptions {
    std::string clip;
    std::uint32_t frame = 0;
    std::string output;
    PictureForm form;
    std::uint32_t depth = 8;
    bool overwrite = false;
    DevelopOptions develop;
};

void developFrame(const FrameOptions& options, CommandContext& context) {
    checkPictureOutput(options.output, options.overwrite);
    Clip clip(context.plugin(), options.clip);
    // Throws for a frame that the clip does not have.
    (void)selectedFrames({fmt::format("{}", options.frame), {}}, clip);
    const Developer developer = makeDeveloper(clip, options.develop);
    Picture picture = clip.makePicture();
    const FrameReading reading = clip.read(options.frame, picture);
    if (reading.state != FrameReading::State::ok) {
        context.exitStatus = 1;
        console::complain(fmt::format("{}: frame {}: {}", options.clip, options.frame, reading.reason));
    }
    if (reading.state == FrameReading::State::unreadable) return;
    if (options.depth > 8)
        writePicture(options.output, developer.developAs<std::uint16_t>(picture.view(), options.form),
                     options.overwrite, options.develop.curve);
    else
        writePicture(options.output, developer.developAs<std::uint8_t>(picture.view(), options.form),
                     options.overwrite, options.develop.curve);
}

} // namespace

void addFrame(CLI::App& program, CommandContext& context) {
    Command command(program, "frame", "Develop one frame into a picture");
    const auto options = std::make_shared<FrameOptions>();
    addClipArgument(command, options->clip);
    command.argument("N", options->frame, "Frame number, from 0").valueName("");
    addPictureOutput(command, options->output, options->overwrite);
    addSizeOption(command, options->form.size);
    command
        .option("--shrink", options->form.shrink, "Divide width and height of the half-size picture by this")
        .valueName("N")
        .inRange(std::int64_t{1}, std::int64_t{64});
    command.option("--depth", options->depth, "Bits a sample").valueName("8|16").oneOf({"8", "16"});
    addDevelopOptions(command, options->develop);
    command.footer(
        "At half size each 2 x 2 cell of the mosaic makes a pixel. At full size the missing colours are\n"
        "interpolated.\n"
        "Examples:\n"
        "  krw frame A001C003.krw 100 -o still.png\n"
        "  krw frame A001C003.krw 100 -o large.tif --size full --depth 16\n"
        "  krw frame A001C003.krw 100 -o flat.png --curve log --balance clip --shrink 2");
    command.run([options, &context] { developFrame(*options, context); });
}
