// The manual page and the shells' completions, made from the command line's own definition, so that nothing
// is written twice.
#pragma once

#include <string>

namespace CLI {
class App;
}

/// The manual page of the program, section 1, for man.
[[nodiscard]] std::string manualPage(const CLI::App& program, const std::string& version);

/// Completion scripts: to be sourced by bash, and to lie in zsh's function path as "_krw".
[[nodiscard]] std::string bashCompletion(const CLI::App& program);
[[nodiscard]] std::string zshCompletion(const CLI::App& program);
