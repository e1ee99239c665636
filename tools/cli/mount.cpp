// `krw mount`: clips as folders of DNG files that are made when they are read.

#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/mount/fuse_mount.h"

#include <memory>

void addMount(CLI::App& program, CommandContext& context) {
    Command command(program, "mount", "Show clips as folders of uncompressed DNG files, without an export");
    const auto options = std::make_shared<MountOptions>();
    command.argument("SOURCE", options->source, "KRW clip, or folder of clips");
    command.argument("MOUNTPOINT", options->mountPoint, "Folder to mount on");
    command.flag("-f,--foreground", options->inForeground, "Stay in the foreground, and name problems there");
    command.size("--cache", options->cacheBytes, "Memory for decoded frames, as 512M or 2G");
    addJobsOption(command, options->jobs);
    command.footer(
        "MOUNTPOINT/NAME has the frames of NAME.krw, NAME.json (as krw info --json), NAME.png (as\n"
        "krw sheet), and NAME.unreadable.txt once a frame was found that is not whole.\n"
        "A frame that cannot be read gives an input/output error.\n"
        "Examples:\n"
        "  krw mount A001C003.krw /mnt/clip        # then: fusermount3 -u /mnt/clip\n"
        "  krw mount /cards /mnt/cards --cache 2G");
    command.run([options, &context] {
        options->log = console::complain;
        options->leaveConsole = console::close;
        mountClips(context.plugin(), *options);
    });
}
