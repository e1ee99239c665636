#include "tools/cli/manual.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <string_view>
#include <vector>

namespace {

using Options = std::vector<const CLI::Option*>;
using Commands = std::vector<const CLI::App*>;

Commands commandsOf(const CLI::App& program) {
    return program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

Options namedOptions(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return !option->get_positional(); });
}

Options positionals(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() != 0;
}

/// "--long" and "-s", long names first.
std::vector<std::string> spellings(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_lnames())
        names.push_back("--" + name);
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    return names;
}

/// The words that an option is limited to, separated by spaces. CLI11 has them as "{a,b}" in the type.
std::string choices(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}');
    if (open == std::string::npos || close == std::string::npos) return {};
    std::string words = type.substr(open + 1, close - open - 1);
    std::replace(words.begin(), words.end(), ',', ' ');
    return words;
}

std::string valueName(const CLI::Option& option) {
    const std::string words = choices(option);
    if (words.empty()) return option.get_type_name();
    return fmt::format("{}", fmt::join(CLI::detail::split(words, ' '), "|"));
}

/// Escapes text for roff: signs with a meaning, and lines that would begin with a request.
std::string roff(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        const bool lineStart = escaped.empty() || escaped.back() == '\n';
        if (lineStart && (character == '.' || character == '\'')) escaped += "\\&";
        if (character == '\\')
            escaped += "\\e";
        else if (character == '-')
            escaped += "\\-";
        else
            escaped += character;
    }
    return escaped;
}

void describeOption(std::string& page, const CLI::Option& option) {
    page += fmt::format(".TP\n\\fB{}\\fR", roff(fmt::format("{}", fmt::join(spellings(option), ", "))));
    if (takesValue(option)) page += fmt::format(" \\fI{}\\fR", roff(valueName(option)));
    page += fmt::format("\n{}.", roff(option.get_description()));
    if (!option.get_default_str().empty())
        page += fmt::format(" Default: {}.", roff(option.get_default_str()));
    page += '\n';
}

std::string usage(const CLI::App& command) {
    std::string line = fmt::format("\\fBkrw {}\\fR [options]", command.get_name());
    for (const CLI::Option* option : positionals(command))
        line += fmt::format(" \\fI{}\\fR{}", roff(option->get_name(true)),
                            option->get_expected_max() > 1 ? "..." : "");
    return line;
}

void describeCommand(std::string& page, const CLI::App& command) {
    page += fmt::format(".SS {}\n{}\n.PP\n{}.\n", command.get_name(), usage(command),
                        roff(command.get_description()));
    for (const CLI::Option* option : namedOptions(command))
        describeOption(page, *option);
    page += fmt::format(".PP\n.nf\n{}\n.fi\n", roff(command.get_footer()));
}

/// Text inside single quotes of a shell.
std::string shellQuoted(std::string_view text) {
    std::string safe = "'";
    for (const char character : text)
        safe += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return safe + "'";
}

std::string joinedSpellings(const CLI::App& command) {
    std::vector<std::string> words;
    for (const CLI::Option* option : namedOptions(command))
        for (const std::string& name : spellings(*option))
            words.push_back(name);
    return fmt::format("{}", fmt::join(words, " "));
}

/// Bash: offers the words of an option behind it.
void offerChoices(std::string& script, const CLI::App& command) {
    for (const CLI::Option* option : namedOptions(command)) {
        const std::string words = choices(*option);
        if (!words.empty())
            script += fmt::format("        {}:{}) words={} ;;\n", command.get_name(),
                                  fmt::join(spellings(*option), fmt::format("|{}:", command.get_name())),
                                  shellQuoted(words));
    }
}

/// Zsh: one argument of _arguments.
std::string zshArgument(const CLI::Option& option, const std::string& spelling) {
    std::string text = option.get_description();
    std::replace(text.begin(), text.end(), '[', '(');
    std::replace(text.begin(), text.end(), ']', ')');
    std::replace(text.begin(), text.end(), ':', ',');
    // With '=', the value follows in the same word or in the next one.
    const bool takesAssignment = takesValue(option) && spelling.starts_with("--");
    std::string argument = fmt::format("{}{}[{}]", spelling, takesAssignment ? "=" : "", text);
    if (takesValue(option)) {
        const std::string words = choices(option);
        argument += words.empty() ? ":value:_files" : fmt::format(":value:({})", words);
    }
    return shellQuoted(argument);
}

} // namespace

std::string manualPage(const CLI::App& program, const std::string& version) {
    std::string page = fmt::format(".TH KRW 1 \"\" \"krw {}\" \"User Commands\"\n", version);
    page += ".SH NAME\nkrw \\- see, check and export KRW raw clips\n";
    page += ".SH SYNOPSIS\n\\fBkrw\\fR [options] \\fIcommand\\fR [options] ...\n";
    page += fmt::format(".SH DESCRIPTION\n{}\n.PP\n.nf\n{}\n.fi\n", roff(program.get_description()),
                        roff(program.get_footer()));
    page += ".SH OPTIONS\n";
    for (const CLI::Option* option : namedOptions(program))
        describeOption(page, *option);
    page += ".SH COMMANDS\n";
    for (const CLI::App* command : commandsOf(program))
        describeCommand(page, *command);
    return page;
}

std::string bashCompletion(const CLI::App& program) {
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(program))
        names.push_back(command->get_name());
    const std::string commands = fmt::format("{}", fmt::join(names, " "));
    std::string script =
        fmt::format("# bash completion for krw, made by `krw completion bash`\n"
                    "_krw() {{\n"
                    "    local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}}\n"
                    "    local command= words= each\n"
                    "    # Readline makes three words of --option=value.\n"
                    "    if [[ $word == = ]]; then\n"
                    "        word=\n"
                    "    elif [[ $before == = ]]; then\n"
                    "        before=${{COMP_WORDS[COMP_CWORD-2]}}\n"
                    "    fi\n"
                    "    for each in \"${{COMP_WORDS[@]:1:COMP_CWORD-1}}\"; do\n"
                    "        case \" {} \" in *\" $each \"*) command=$each; break ;; esac\n"
                    "    done\n"
                    "    case $command:$before in\n",
                    commands);
    for (const CLI::App* command : commandsOf(program))
        offerChoices(script, *command);
    script += "    esac\n"
              "    if [[ -z $words && $word == -* ]]; then\n"
              "        case $command in\n";
    for (const CLI::App* command : commandsOf(program))
        script += fmt::format("        {}) words={} ;;\n", command->get_name(),
                              shellQuoted(joinedSpellings(*command)));
    script += fmt::format("        *) words={} ;;\n", shellQuoted(joinedSpellings(program)));
    script += fmt::format("        esac\n"
                          "    elif [[ -z $words && -z $command ]]; then\n"
                          "        words={}\n"
                          "    fi\n"
                          "    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
                          "}}\n"
                          "complete -o default -F _krw krw\n",
                          shellQuoted(commands));
    return script;
}

std::string zshCompletion(const CLI::App& program) {
    std::string script = "#compdef krw\n# zsh completion for krw, made by `krw completion zsh`\n"
                         "local -a commands\ncommands=(\n";
    for (const CLI::App* command : commandsOf(program))
        script +=
            fmt::format("    {}\n", shellQuoted(command->get_name() + ":" + command->get_description()));
    script += ")\nif (( CURRENT == 2 )); then\n    _describe command commands\n    return\nfi\nshift "
              "words\n(( CURRENT-- ))\ncase $words[1] in\n";
    for (const CLI::App* command : commandsOf(program)) {
        script += fmt::format("{})\n    _arguments", command->get_name());
        for (const CLI::Option* option : namedOptions(*command))
            for (const std::string& spelling : spellings(*option))
                script += " \\\n        " + zshArgument(*option, spelling);
        script += " \\\n        '*:file:_files' ;;\n";
    }
    return script + "esac\n";
}
