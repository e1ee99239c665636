// Options that several subcommands share, with one wording.
#pragma once

#include "tools/cli/command_line.h"
#include "tools/cli/frame_selection.h"
#include "tools/picture/develop.h"

#include <string>

void addClipArgument(Command& command, std::string& path);
void addFramesOption(Command& command, std::string& list);
/// The options --frames and --part.
void addFrameSelection(Command& command, FrameSelection& selection);
void addJobsOption(Command& command, unsigned& jobs);
void addDevelopOptions(Command& command, DevelopOptions& options);
/// The size of developed pictures.
void addSizeOption(Command& command, PictureSize& size);
/// The option for the one picture that a command writes, and the flag that lets it replace a file.
void addPictureOutput(Command& command, std::string& path, bool& overwrite);
