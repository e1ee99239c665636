// The clips that a command line names: files, and folders that are searched for them.
#pragma once

#include "tools/cli/command_line.h"
#include "tools/cli/commands.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// Files and folders in the words of the command line.
struct ClipArguments {
    std::vector<std::string> paths;
    bool recursive = false; // folders are searched, their folders too

    /// True for one path that is no folder: output and lists then need not tell clips apart.
    [[nodiscard]] bool isOneFile() const;
};

/// One of the clips.
struct ListedClip {
    std::string path;
    std::string name;              // as given, or relative to the folder that was searched
    std::filesystem::path outputs; // where the clip's output goes, relative to a folder for all output
};

/// The option `-r` and the clips.
void addClipArguments(Command& command, ClipArguments& arguments);

/// Runs `action` for the clips one after the other, a folder's in the order of their names. With one file,
/// its exceptions are passed on. With several clips, a failure of one is complained about and sets the exit
/// status, and the next clip's turn comes; only Interrupted is passed on. Throws std::runtime_error for a
/// folder that cannot be searched or has no clips.
void forEachClip(const ClipArguments& arguments, CommandContext& context,
                 const std::function<void(const ListedClip& clip)>& action);

/// Throws UsageError when two clips' output would go to the same place.
void requireOwnOutputs(const ClipArguments& arguments);
