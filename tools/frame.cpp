// `krw frame`: one developed frame as a picture.

#include "tools/command_options.h"
#include "tools/commands.h"
#include "tools/console.h"
#include "tools/frame_range.h"
#include "tools/picture_output.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <stdexcept>

namespace {

struct FrameOptions {
    std::string clip;
    std::uint32_t frame = 0;
    std::string output;
    std::uint32_t shrink = 1;
    bool overwrite = false;
    DevelopOptions develop;
};

void developFrame(const FrameOptions& options, Session& session) {
    checkPictureOutput(options.output, options.overwrite);
    Clip clip(session.plugin(), options.clip);
    const FrameRange range = frameRange(fmt::format("{}", options.frame), clip.frames(), options.clip);
    const Developer developer = makeDeveloper(clip, options.develop);
    Picture picture = clip.makePicture();
    const FrameReading reading = clip.read(range.first, picture);
    if (reading.state != FrameReading::State::ok) {
        session.exitStatus = 1;
        console::complain(fmt::format("{}: frame {}: {}", options.clip, options.frame, reading.reason));
    }
    if (reading.state != FrameReading::State::unreadable)
        writePicture(options.output, developer.develop(picture.view(), options.shrink));
}

} // namespace

void addFrame(CLI::App& program, Session& session) {
    CLI::App* const command = program.add_subcommand("frame", "Develop one frame into a PNG picture");
    const auto options = std::make_shared<FrameOptions>();
    addClipArgument(*command, options->clip);
    command->add_option("N", options->frame, "Frame number, from 0")->type_name("")->required();
    addPictureOutput(*command, options->output, options->overwrite);
    command->add_option("--shrink", options->shrink, "Divide the half-size picture by this")
        ->type_name("N")
        ->check(CLI::Range(1, 64).description(""))
        ->capture_default_str();
    addDevelopOptions(*command, options->develop);
    command->footer("The picture has half the mosaic's size: each 2 x 2 cell of the mosaic makes a pixel.\n"
                    "Examples:\n"
                    "  krw frame A001C003.krw 100 -o still.png\n"
                    "  krw frame A001C003.krw 100 -o flat.png --curve log --balance clip --shrink 2");
    command->callback([options, &session] { developFrame(*options, session); });
}
