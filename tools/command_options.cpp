#include "tools/command_options.h"

#include <CLI/CLI.hpp>

void addClipArgument(CLI::App& command, std::string& path) {
    command.add_option("FILE", path, "KRW clip")->required();
}

void addFramesOption(CLI::App& command, std::string& range) {
    command.add_option("--frames", range, "Only these frames: A-B, A- or A")->type_name("RANGE");
}

void addJobsOption(CLI::App& command, unsigned& jobs) {
    command.add_option("-j,--jobs", jobs, "Frames under way at a time; 0: one per processor")
        ->type_name("N")
        ->capture_default_str();
}
