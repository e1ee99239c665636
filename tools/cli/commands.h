// The subcommands of `krw`, one source file each, and what the program gives to every one of them.
#pragma once

#include "tools/clip/plugin.h"

#include <optional>
#include <string>

namespace CLI {
class App;
}

/// One run of the program. A subcommand stores its exit status here: 0 all well, 1 something in a clip or
/// with an output is wrong. An exception of a subcommand becomes a line on standard error. The exit status is
/// then 2 for UsageError and 1 for any other exception.
class CommandContext final {
  public:
    bool quiet = false;     // no progress, no summaries
    std::string pluginPath; // empty: findPlugin searches for it
    int exitStatus = 0;

    /// The plug-in, loaded at the first call.
    [[nodiscard]] const Plugin& plugin();

  private:
    std::optional<Plugin> m_plugin;
};

// Each adds its subcommand, with options, help and examples. Both references must stay valid until the
// program has run.
void addProbe(CLI::App& program, CommandContext& context);
void addInfo(CLI::App& program, CommandContext& context);
void addVerify(CLI::App& program, CommandContext& context);
void addExport(CLI::App& program, CommandContext& context);
void addStream(CLI::App& program, CommandContext& context);
void addMount(CLI::App& program, CommandContext& context);
void addSheet(CLI::App& program, CommandContext& context);
void addFrame(CLI::App& program, CommandContext& context);
void addRecover(CLI::App& program, CommandContext& context);
void addSynth(CLI::App& program, CommandContext& context);

// Adds the subcommands that print the manual page and the shells' completions.
void addShellIntegration(CLI::App& program);
