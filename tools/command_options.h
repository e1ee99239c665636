// Options that several subcommands share, with one wording.
#pragma once

#include "tools/develop.h"
#include "tools/frame_range.h"

#include <string>

namespace CLI {
class App;
}

void addClipArgument(CLI::App& command, std::string& path);
void addFramesOption(CLI::App& command, std::string& range);
/// The same, and a part of it.
void addFrameChoice(CLI::App& command, FrameChoice& choice);
void addJobsOption(CLI::App& command, unsigned& jobs);
void addDevelopOptions(CLI::App& command, DevelopOptions& options);
/// The one picture that a command writes, and whether it may replace a file.
void addPictureOutput(CLI::App& command, std::string& path, bool& overwrite);
