// Options that several subcommands share, with one wording.
#pragma once

#include <string>

namespace CLI {
class App;
}

void addClipArgument(CLI::App& command, std::string& path);
void addFramesOption(CLI::App& command, std::string& range);
void addJobsOption(CLI::App& command, unsigned& jobs);
