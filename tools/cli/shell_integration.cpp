// `krw manual` and `krw completion`: what the build installs beside the program. The help does not list them.

#include "tools/cli/command_line.h"
#include "tools/cli/commands.h"
#include "tools/cli/console.h"
#include "tools/cli/manual.h"

#include <memory>

void addShellIntegration(CLI::App& program) {
    Command manual(program, "manual", "Print the manual page");
    manual.hide();
    manual.run([&program] { console::print(manualPage(program, KRW_VERSION)); });

    Command completion(program, "completion", "Print a shell's completion script");
    completion.hide();
    const auto shell = std::make_shared<std::string>();
    completion.argument("SHELL", *shell, "bash or zsh").oneOf({"bash", "zsh"});
    completion.run([shell, &program] {
        console::print(*shell == "bash" ? bashCompletion(program) : zshCompletion(program));
    });
}
