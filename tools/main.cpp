// The program `krw`: a host for the reader plug-in on the command line.

#include "tools/commands.h"
#include "tools/console.h"
#include "tools/frame_range.h"
#include "tools/host_log.h"
#include "tools/interrupt.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <sstream>

namespace {

constexpr int kWrongUsage = 2;

void describe(CLI::App& program, Session& session) {
    program.name("krw");
    program.require_subcommand(1);
    program.fallthrough();
    program.set_version_flag("--version", "krw " KRW_VERSION, "Print the version and exit");
    program.add_flag("-q,--quiet", session.quiet, "No progress and no summaries; problems are still named");
    program.add_option("--plugin", session.pluginPath, "Reader plug-in to load")
        ->type_name("PATH")
        ->envname("KRW_PLUGIN");
    program.footer(
        "Exit status: 0 all well, 1 something in a clip or with an output is wrong, 2 wrong usage.\n"
        "Frames are numbered from 0; ranges include both ends.\n"
        "krw COMMAND --help shows a command's options and examples.");
    addProbe(program, session);
    addInfo(program, session);
    addVerify(program, session);
    addExport(program, session);
    addSheet(program, session);
    addFrame(program, session);
    addSynth(program, session);
    addGenerators(program);
}

/// Help and version are results; anything else the parser says is one line of complaint.
int reportParsing(const CLI::App& program, const CLI::ParseError& error) {
    std::ostringstream result;
    std::ostringstream complaint;
    const int code = program.exit(error, result, complaint);
    console::print(result.str());
    if (code == 0) return 0;
    console::complain(error.what());
    return kWrongUsage;
}

int run(int argc, const char* const* argv) {
    CLI::App program("See, check and export KRW raw clips.");
    Session session;
    try {
        console::claimStandardOutput();
        interrupt::listen();
        routeHostLog();
        describe(program, session);
        program.parse(argc, argv);
        console::flush();
        return session.exitStatus;
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

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        console::complain("out of memory");
    } catch (const std::exception& error) {
        console::complain(error.what());
    }
    return 1;
}
