#include "tools/cli/clip_list.h"

#include "tools/cli/console.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/clip_name.h"
#include "tools/clip/interrupt.h"

#include <algorithm>
#include <exception>
#include <fmt/format.h>
#include <map>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr int kWrongUsage = 2;

std::vector<fs::path> clipsIn(const std::string& folder) {
    std::vector<fs::path> found;
    try {
        for (const auto& entry : fs::recursive_directory_iterator(folder))
            if (isClipName(entry.path()) && entry.is_regular_file()) found.push_back(entry.path());
    } catch (const fs::filesystem_error& error) {
        throw std::runtime_error(fmt::format("{}: {}", error.path1().string(), error.code().message()));
    }
    if (found.empty()) throw std::runtime_error(fmt::format("{}: no clips (files *.krw) in it", folder));
    std::ranges::sort(found);
    return found;
}

std::vector<ListedClip> listClips(const ClipArguments& arguments) {
    std::vector<ListedClip> clips;
    std::error_code ignored; // opening the path reports the error
    for (const std::string& path : arguments.paths) {
        if (!arguments.recursive || !fs::is_directory(path, ignored)) {
            clips.push_back({path, path, fs::path(path).stem()});
            continue;
        }
        for (const fs::path& found : clipsIn(path)) {
            const fs::path name = found.lexically_relative(path);
            clips.push_back({found.string(), name.string(), name.parent_path() / name.stem()});
        }
    }
    return clips;
}

} // namespace

bool ClipArguments::isOneFile() const {
    std::error_code ignored;
    return paths.size() == 1 && !(recursive && fs::is_directory(paths.front(), ignored));
}

void addClipArguments(Command& command, ClipArguments& arguments) {
    command.argument("CLIP", arguments.paths, "KRW clips; folders with -r");
    command.flag("-r,--recursive", arguments.recursive,
                 "Search folders, and all folders below them, for clips (*.krw)");
}

void forEachClip(const ClipArguments& arguments, CommandContext& context,
                 const std::function<void(const ListedClip& clip)>& action) {
    const std::vector<ListedClip> clips = listClips(arguments);
    if (arguments.isOneFile()) return action(clips.front());
    for (const ListedClip& clip : clips) {
        try {
            action(clip);
            continue;
        } catch (const Interrupted&) {
            throw;
        } catch (const UsageError& error) {
            console::complainOf(error);
            context.exitStatus = kWrongUsage;
        } catch (const std::exception& error) {
            console::complainOf(error);
        }
        context.exitStatus = std::max(context.exitStatus, 1);
    }
}

void requireOwnOutputs(const ClipArguments& arguments) {
    std::map<fs::path, std::string> taken;
    for (const ListedClip& clip : listClips(arguments)) {
        const auto [other, isFree] = taken.emplace(clip.outputs, clip.path);
        if (!isFree)
            throw UsageError(fmt::format("{} and {} would both go to {}", other->second, clip.path,
                                         clip.outputs.string()));
    }
}
