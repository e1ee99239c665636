// The tree of clips as a file system, through libfuse.
#pragma once

#include "tools/clip/plugin.h"
#include "tools/mount/clip_folder.h"

#include <cstdint>
#include <functional>
#include <string>

struct MountOptions {
    std::string source; // a clip or a folder of clips
    std::string mountPoint;
    bool inForeground = false;
    std::uint64_t cacheBytes = std::uint64_t{512} << 20U;
    unsigned jobs = 0;                  // as workerCount takes it
    MountLog log;                       // of a mount in the foreground; a daemon writes to the system's log
    std::function<void()> leaveConsole; // called in a daemon when it leaves its caller behind
};

/// Mounts the source, read-only, and serves it until it is unmounted or a signal ends it. A daemon's parent
/// does not return: it leaves with status 0 once the mount is there. Throws std::runtime_error when the
/// source cannot be shown or the mount fails.
void mountClips(const Plugin& plugin, const MountOptions& options);
