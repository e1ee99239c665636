// `krw export`: frames of clips as picture files, each written whole or not at all.

#include "tools/cli/clip_list.h"
#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/export_clip.h"
#include "tools/cli/picture_output.h"
#include "tools/cli/usage_error.h"

#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace {

struct ExportOptions {
    ClipArguments clips;
    std::string directory;
    ClipExportOptions each;
    bool hashList = false;
    HashKind hashKind = HashKind::xxh64;
};

/// Exports one clip into the folder, or each of several clips into a folder of its own below it.
void exportClips(const ExportOptions& options, CommandContext& context) {
    if (isStandardOutput(options.directory))
        throw UsageError("-o: an export is a folder of files; krw stream writes frames to standard output");
    const bool isOne = options.clips.isOneFile();
    if (!isOne) requireOwnOutputs(options.clips);
    ExportTally tally;
    std::size_t clips = 0;
    forEachClip(options.clips, context, [&](const ListedClip& clip) {
        ++clips;
        const auto folder =
            isOne ? std::filesystem::path(options.directory) : options.directory / clip.outputs;
        tally.add(exportClip(options.each, clip.path, folder.string(), context));
    });
    if (context.quiet) return;
    const std::string what = isOne ? options.clips.paths.front() : fmt::format("{} clips", clips);
    console::note(fmt::format("{}: {} exported, {} damaged, {} unreadable, {} skipped; {}", what,
                              tally.read.ok, tally.read.damaged, tally.read.unreadable, tally.skipped,
                              tally.throughput.text()));
}

} // namespace

void addExport(CLI::App& program, CommandContext& context) {
    Command command(program, "export", "Write frames as picture files");
    const auto options = std::make_shared<ExportOptions>();
    addClipArguments(command, options->clips);
    command.option("-o,--output", options->directory, "Folder for the files; made when missing")
        .valueName("DIR")
        .required();
    command.choice("--format", options->each.shape.format, exportFormats(), "Format of the files");
    addFrameSelection(command, options->each.frames);
    addJobsOption(command, options->each.jobs);
    command.choice("--compression", options->each.shape.compression, compressions(),
                   "Compression of DNG files");
    command
        .option(
            "--neutral", options->each.neutral,
            "White of DNG files: auto (the clip's gains, or an estimate), clip (the clip's gains), or the "
            "samples R,G,B of something white")
        .valueName("WHITE");
    command
        .option("--matrix", options->each.matrix,
                "Colour matrix of DNG files, from CIE XYZ to the camera's colours: a file of nine numbers")
        .valueName("FILE");
    command.choice("--names", options->each.shape.names, nameStyles(), "What to name files after");
    const CommandOption resume =
        command.flag("--resume", options->each.perFrame.resume,
                     "Continue an export: write what is missing, try failed frames again");
    command
        .flag("--check", options->each.perFrame.check,
              "Compare files that are there with their hashes, and write again those that differ")
        .needs(resume);
    command.flag("--overwrite", options->each.overwrite, "Replace files that are there").excludes(resume);
    command.flag("--strict", options->each.perFrame.strict, "Stop at the first frame that is not in order");
    command.flag("--sync", options->each.perFrame.sync,
                 "Bring each file to the disk before it counts as done");
    const CommandOption hashList =
        command.flag("--mhl", options->hashList, "Add a list of the folder's files to its ASC MHL history");
    command.choice("--mhl-hash", options->hashKind, hashKinds(), "Hash in that list").needs(hashList);
    addDevelopOptions(command, options->each.develop);
    command.footer(
        "A damaged frame (a colour plane breaks off) is written as far as it goes. An unreadable frame is\n"
        "named and left out. Both set the exit status to 1. With --strict the export stops there.\n"
        "With several clips or -r, each clip gets a folder of its own in DIR.\n"
        "DIR/CLIP.krw-export.json lists the frames with hashes of pictures and files.\n"
        "Examples:\n"
        "  krw export A001C003.krw -o A001C003 --frames 0-99 --jobs 4\n"
        "  krw export -r /card -o /shots --mhl\n"
        "  krw export A001C003.krw -o A001C003 --format png --balance clip --resume");
    command.run([options, &context] {
        if (options->hashList) options->each.perFrame.delivery = options->hashKind;
        if (options->hashList && !options->each.frames.part.empty())
            throw UsageError("--mhl lists a whole folder: run it with --resume when all parts have ended");
        exportClips(*options, context);
    });
}
