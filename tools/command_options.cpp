#include "tools/command_options.h"

#include <CLI/CLI.hpp>

void addClipArgument(CLI::App& command, std::string& path) {
    command.add_option("FILE", path, "KRW clip")->required();
}

void addFramesOption(CLI::App& command, std::string& range) {
    command.add_option("--frames", range, "Only these frames: A-B, A- or A")->type_name("RANGE");
}

void addFrameChoice(CLI::App& command, FrameChoice& choice) {
    addFramesOption(command, choice.range);
    command
        .add_option("--part", choice.part,
                    "Only the I-th of N equal parts of the frames, for work on many machines")
        ->type_name("I/N");
}

void addJobsOption(CLI::App& command, unsigned& jobs) {
    command.add_option("-j,--jobs", jobs, "Frames under way at a time; 0: one per processor")
        ->type_name("N")
        ->capture_default_str();
}

void addDevelopOptions(CLI::App& command, DevelopOptions& options) {
    command.add_option("--curve", options.curve, "Display curve of developed pictures")
        ->check(CLI::IsMember(displayCurves()))
        ->capture_default_str();
    command.add_option("--balance", options.balance, "Gains of developed pictures: the clip's, or made grey")
        ->check(CLI::IsMember(balances()))
        ->capture_default_str();
}

void addPictureOutput(CLI::App& command, std::string& path, bool& overwrite) {
    command.add_option("-o,--output", path, "PNG file to write")->type_name("OUT.png")->required();
    command.add_flag("--overwrite", overwrite, "Replace the file when it is there");
}
