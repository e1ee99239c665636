// `krw manual` and `krw completion`: what the build installs beside the program. Not listed in the help.

#include "tools/commands.h"
#include "tools/console.h"
#include "tools/manual.h"

#include <CLI/CLI.hpp>
#include <memory>

void addGenerators(CLI::App& program) {
    CLI::App* const manual = program.add_subcommand("manual", "Print the manual page")->group("");
    manual->callback([&program] { console::print(manualPage(program, KRW_VERSION)); });

    CLI::App* const completion =
        program.add_subcommand("completion", "Print a shell's completion script")->group("");
    const auto shell = std::make_shared<std::string>();
    completion->add_option("SHELL", *shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>{"bash", "zsh"}));
    completion->callback([shell, &program] {
        console::print(*shell == "bash" ? bashCompletion(program) : zshCompletion(program));
    });
}
