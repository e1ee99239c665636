// `krw recover`: every frame that is physically in a file, as clips that open.

#include "tools/cli/byte_progress.h"
#include "tools/cli/command_options.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/interrupt.h"
#include "tools/recover/recovery_report.h"

#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

struct RecoverOptions {
    std::vector<std::string> sources;
    std::string output;
    unsigned jobs = 0;
    bool list = false;
    bool json = false;
    bool keepDamaged = false;
    bool overwrite = false;
};

void checkUsage(const RecoverOptions& options) {
    if (options.list != options.output.empty())
        throw UsageError(
            options.list
                ? "--list writes no clip: leave -o out"
                : "-o is missing: name OUT.krw, or FOLDER/ for several clips; --list writes nothing");
    std::error_code ignored;
    for (const std::string& source : options.sources)
        if (!options.output.empty() && fs::equivalent(source, options.output, ignored))
            throw UsageError(fmt::format("{}: is the source; write to another file", options.output));
}

bool isFolder(const std::string& output) {
    return output.ends_with('/') || fs::is_directory(output);
}

/// Where the clips go, one path for each: FOLDER/NAME.krw, NAME_001.krw and so on where there are several.
std::vector<std::string> outputPaths(const RecoverOptions& options, std::size_t clips) {
    if (!isFolder(options.output)) {
        if (clips > 1)
            throw std::runtime_error(fmt::format("{}: {} clips were found; -o FOLDER/ writes them all",
                                                 options.sources.front(), clips));
        return {options.output};
    }
    const std::string stem = fs::path(options.sources.front()).stem().string();
    std::vector<std::string> paths;
    for (std::size_t i = 1; i <= clips; ++i)
        paths.push_back(
            (fs::path(options.output) / (clips == 1 ? stem + ".krw" : fmt::format("{}_{:03}.krw", stem, i)))
                .string());
    return paths;
}

/// Writes the clips, and notes in the report which were written. Complains about each that could not be
/// written, and goes on with the others.
void writeClips(const RecoverOptions& options, RecoveryReport& report, CommandContext& context) {
    const Findings& findings = report.findings;
    const std::vector<std::string> paths = outputPaths(options, findings.clips.size());
    if (isFolder(options.output) && !findings.clips.empty()) fs::create_directories(options.output);
    std::vector<std::vector<std::uint32_t>> records;
    std::uint64_t bytes = 0;
    for (const ClipFindings& clip : findings.clips) {
        records.push_back(recordsToWrite(report.source, findings, clip, options.keepDamaged));
        for (const std::uint32_t index : records.back())
            bytes += findings.records[index].size;
    }
    ByteProgress progress("writing", bytes, !context.quiet);
    const OutputOptions output{options.overwrite ? Existing::replace : Existing::keep, false, false};
    for (std::size_t i = 0; i < paths.size() && i < findings.clips.size(); ++i) {
        if (records[i].empty()) continue;
        const ClipFindings& clip = findings.clips[i];
        try {
            rebuildClip(report.source, findings, clip, records[i], paths[i], output,
                        [&progress](std::uint64_t step) { progress.add(step); });
            report.written[i] = {paths[i], records[i].size(), headerOrigin(findings, clip, records[i])};
        } catch (const Interrupted&) {
            throw;
        } catch (const std::runtime_error& error) {
            context.exitStatus = 1;
            console::complain(error.what());
        }
    }
}

void recover(const RecoverOptions& options, CommandContext& context) {
    checkUsage(options);
    const Source source(options.sources);
    Findings findings;
    {
        ByteProgress progress("searching", source.size(), !context.quiet);
        findings = findClips(source, options.jobs, [&progress](std::uint64_t done) { progress.reach(done); });
    }
    RecoveryReport report{source, findings, std::vector<WrittenClip>(findings.clips.size())};
    if (!findings.isComplete()) context.exitStatus = 1;
    if (!options.list) writeClips(options, report, context);
    console::print(options.json ? recoveryJson(report) : recoveryText(report));
    console::flush();
    for (const std::string& problem : recoveryProblems(report))
        console::complain(problem);
    if (!context.quiet)
        console::note(fmt::format("{}: {}", options.sources.front(), recoverySummary(report)));
}

} // namespace

void addRecover(CLI::App& program, CommandContext& context) {
    Command command(program, "recover",
                    "Get every frame that is physically there out of a broken clip or card");
    const auto options = std::make_shared<RecoverOptions>();
    command.argument(
        "SOURCE", options->sources,
        "File to search: a clip, a part of one, an image of a card; several are joined in order");
    command.option("-o,--output", options->output, "Clip to write, or FOLDER/ for all clips that are found")
        .valueName("OUT");
    command.flag("--list", options->list, "Only list what is there; write nothing");
    command.flag("--json", options->json, "Print one JSON document (docs/json.md)");
    command.flag("--keep-damaged", options->keepDamaged, "Write damaged frames too");
    command.flag("--overwrite", options->overwrite, "Replace clips that are there");
    addJobsOption(command, options->jobs);
    command.footer(
        "The source is only read. Exit status 1: a frame is missing or damaged, or no frame was found.\n"
        "Examples:\n"
        "  krw recover card.img --list\n"
        "  krw recover card.img -o rescued/\n"
        "  krw recover A001C003.krw -o A001C003_whole.krw\n"
        "  krw recover begin.krw end.krw -o joined.krw --keep-damaged");
    command.run([options, &context] { recover(*options, context); });
}
