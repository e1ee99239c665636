// The manual page and the shells' completions, made from the definition of the command line.
#pragma once

#include <string>

namespace CLI {
class App;
}

/// The manual page of the program, section 1, for man.
[[nodiscard]] std::string manualPage(const CLI::App& program, const std::string& version);

/// Completion scripts. Bash sources its script. Zsh finds its script as "_krw" in the function path.
[[nodiscard]] std::string bashCompletion(const CLI::App& program);
[[nodiscard]] std::string zshCompletion(const CLI::App& program);
