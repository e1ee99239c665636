#include "tools/cli/program.h"

#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/usage_error.h"
#include "tools/clip/interrupt.h"
#include "tools/clip/plugin_messages.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <fmt/format.h>
#include <numeric>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

constexpr int kWrongUsage = 2;

void describe(CLI::App& program, CommandContext& context) {
    program.name("krw");
    program.require_subcommand(1);
    program.fallthrough();
    program.set_version_flag("--version", "krw " KRW_VERSION, "Print the version and exit");
    program.add_flag("-q,--quiet", context.quiet, "No progress and no summaries; problems are still named");
    program
        .add_option(
            "--plugin", context.pluginPath,
            "Reader plug-in to load; otherwise the one that KRW_PLUGIN names, or that of the installation")
        ->type_name("PATH")
        ->envname("KRW_PLUGIN");
    program.footer(
        "Exit status: 0 all well, 1 something in a clip or with an output is wrong, 2 wrong usage.\n"
        "Frames are numbered from 0; ranges include both ends.\n"
        "krw COMMAND --help shows a command's options and examples.");
    addProbe(program, context);
    addInfo(program, context);
    addVerify(program, context);
    addExport(program, context);
    addStream(program, context);
    addMount(program, context);
    addSheet(program, context);
    addFrame(program, context);
    addRecover(program, context);
    addSynth(program, context);
    addShellIntegration(program);
}

/// Fewest letters to insert, remove or replace to turn one word into the other (Levenshtein 1966).
std::size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

/// Complaint about a word that is no command. It names the command with the most similar spelling.
std::string unknownCommand(const CLI::App& program, const std::string& word) {
    constexpr std::size_t kMostDifferences = 2;
    std::string nearest;
    std::size_t least = kMostDifferences + 1;
    for (const CLI::App* command : program.get_subcommands(nullptr)) {
        const std::size_t distance = editDistance(word, command->get_name());
        if (command->get_group().empty() || distance >= least) continue;
        least = distance;
        nearest = command->get_name();
    }
    return fmt::format("{}: no such command{}", word,
                       nearest.empty() ? " (krw --help lists them)"
                                       : fmt::format("; did you mean {}?", nearest));
}

/// The complaint of the parser, in one line.
std::string complaintOf(const CLI::App& program, const CLI::ParseError& error) {
    const std::vector<std::string> rest = program.remaining();
    const bool isWord = !rest.empty() && !rest.front().empty() && rest.front().front() != '-';
    if (program.get_subcommands().empty() && isWord) return unknownCommand(program, rest.front());
    return error.what();
}

/// Prints help or version as a result. Complains about anything else that the parser reports.
int reportParsing(const CLI::App& program, const CLI::ParseError& error) {
    std::ostringstream result;
    std::ostringstream complaint;
    const int code = program.exit(error, result, complaint);
    console::print(result.str());
    if (code == 0) return 0;
    console::complain(complaintOf(program, error));
    return kWrongUsage;
}

int run(int argc, const char* const* argv) {
    CLI::App program("See, check and export KRW raw clips.");
    CommandContext context;
    try {
        console::claimStandardOutput();
        interrupt::listen();
        collectPluginMessages();
        describe(program, context);
        program.parse(argc, argv);
        console::flush();
        return context.exitStatus;
    } catch (const CLI::ParseError& error) {
        const int status = reportParsing(program, error);
        console::flush();
        return status;
    } catch (const UsageError& error) {
        console::complain(error.what());
        return kWrongUsage;
    } catch (const Interrupted& error) {
        console::complain(error.what());
        return interrupt::exitStatus();
    }
}

} // namespace

int runKrw(int argc, const char* const* argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        console::complainOf(error);
    }
    return 1;
}
