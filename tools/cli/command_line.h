// The options and arguments of a subcommand. CLI11 parses them. CLI11 takes seconds to compile, so only the
// sources of this file, of the program and of the manual page include it.
#pragma once

#include "tools/picture/choice_words.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// One option or argument of a command. Copies refer to the same option.
class CommandOption final {
  public:
    explicit CommandOption(CLI::Option* option) : m_option(option) {}

    CommandOption& required();
    /// Sets the name that the help gives to the value.
    CommandOption& valueName(const std::string& name);
    /// Refuses values outside the range. Both ends belong to it.
    CommandOption& inRange(std::int64_t lowest, std::int64_t highest);
    CommandOption& inRange(double lowest, double highest);
    /// Refuses words that are not in the list.
    CommandOption& oneOf(const std::vector<std::string>& words);
    CommandOption& excludes(const CommandOption& other);
    CommandOption& needs(const CommandOption& other);

  private:
    CLI::Option* m_option; // owned by the parser
};

/// A subcommand under construction. The variables that receive values must live until the program has run.
class Command final {
  public:
    Command(CLI::App& program, const std::string& name, const std::string& description);

    CommandOption flag(const std::string& names, bool& value, const std::string& description);
    /// An option with one value: a text, a 16- or 32-bit number, or a floating-point number. The help shows
    /// the variable's content as the default.
    template <class Value>
    CommandOption option(const std::string& names, Value& value, const std::string& description);
    /// An option with a number of bytes, which may be given as 512M or 2G.
    CommandOption size(const std::string& names, std::uint64_t& bytes, const std::string& description);
    /// An option that may be given several times.
    CommandOption repeatable(const std::string& names, std::vector<std::string>& values,
                             const std::string& description);
    /// An option that takes one of some words. `words` has the value of each word, and must live until the
    /// program has run.
    template <class Choice>
    CommandOption choice(const std::string& names, Choice& value, const ChoiceWords<Choice>& words,
                         const std::string& description) {
        std::vector<std::string> list;
        for (const auto& [word, meaning] : words)
            list.push_back(word);
        const auto store = [&value, &words](const std::string& word) { value = words.at(word); };
        return wordOption(names, store, wordOf(words, value), description).oneOf(list);
    }
    /// A positional argument; a vector takes one or more.
    template <class Value>
    CommandOption argument(const std::string& name, Value& value, const std::string& description);

    /// The text below the options in the help: remarks and examples.
    void footer(const std::string& text);
    /// Keeps the command out of the help, the manual page and the completions.
    void hide();
    /// Sets what the command does.
    void run(std::function<void()> action);

  private:
    CommandOption wordOption(const std::string& names, const std::function<void(const std::string&)>& store,
                             const std::string& preset, const std::string& description);

    CLI::App* m_app; // owned by the program
};
