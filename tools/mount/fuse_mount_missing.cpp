#include "tools/mount/fuse_mount.h"

#include <stdexcept>

void mountClips(const Plugin& /*plugin*/, const MountOptions& /*options*/) {
    throw std::runtime_error(
        "this build of krw cannot mount: libfuse 3 was not there when it was configured");
}
