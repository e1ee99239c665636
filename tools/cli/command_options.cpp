#include "tools/cli/command_options.h"

#include "tools/cli/console.h"

void addClipArgument(Command& command, std::string& path) {
    command.argument("CLIP", path, "KRW clip");
}

void addFramesOption(Command& command, std::string& list) {
    command.option("--frames", list, "Only these frames: 1,3,5-9 or 0-:10 or 01:00:00:05-01:00:01:00")
        .valueName("LIST");
}

void addFrameSelection(Command& command, FrameSelection& selection) {
    addFramesOption(command, selection.list);
    command
        .option("--part", selection.part,
                "Only the I-th of N equal parts of the frames, for work on many machines")
        .valueName("I/N");
}

void addJobsOption(Command& command, unsigned& jobs) {
    command
        .option("-j,--jobs", jobs,
                "Frames to work on at the same time, at most one per processor; 0: one per processor")
        .valueName("N");
}

void addDevelopOptions(Command& command, DevelopOptions& options) {
    options.warn = [](const std::string& warning) { console::complain(warning); };
    command.choice("--curve", options.curve, displayCurves(), "Display curve of developed pictures");
    command.choice(
        "--balance", options.balance, balances(),
        "Gains of developed pictures: clip (the clip's), grey (an estimate that makes grey things grey), or "
        "auto (the clip's, or the estimate)");
}

void addSizeOption(Command& command, PictureSize& size) {
    command.choice("--size", size, pictureSizes(), "Size of developed pictures, relative to the mosaic");
}

void addPictureOutput(Command& command, std::string& path, bool& overwrite) {
    command
        .option("-o,--output", path,
                "PNG file to write, or TIFF file if the name ends in .tif; - for standard output")
        .valueName("OUT.png")
        .required();
    command.flag("--overwrite", overwrite, "Replace the file when it is there");
}
