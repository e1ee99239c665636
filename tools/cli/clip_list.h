// The clips that a command line names: files, and folders that are searched for them.
#pragma once

#include "tools/cli/command_line.h"
#include "tools/cli/commands.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// Files and folders as the command line names them.
struct ClipArguments {
    std::vector<std::string> paths;
    bool recursive = false; // search folders, and all folders below them

    /// True when the only path is no folder. Output and lists then need not tell clips apart.
    [[nodiscard]] bool isOneFile() const;
};

/// One of the clips.
struct ListedClip {
    std::string path;
    std::string name;              // as given, or relative to the folder that was searched
    std::filesystem::path outputs; // where the clip's output goes, relative to a folder for all output
};

/// Adds the option `-r` and the argument for the clips.
void addClipArguments(Command& command, ClipArguments& arguments);

/// Runs `action` for each clip in turn, the clips of a folder in the order of their names. With one file,
/// exceptions of `action` are passed on. With several clips, an exception becomes a complaint and sets the
/// exit status, and the next clip follows; only Interrupted is passed on. Throws std::runtime_error for a
/// folder that cannot be searched or has no clips.
void forEachClip(const ClipArguments& arguments, CommandContext& context,
                 const std::function<void(const ListedClip& clip)>& action);

/// Throws UsageError when the output of two clips would go to the same place.
void requireOwnOutputs(const ClipArguments& arguments);
