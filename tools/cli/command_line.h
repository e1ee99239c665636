// The options and arguments of a subcommand. CLI11 does the parsing; it takes seconds to compile, so only the
// sources of this file, of the program and of the manual page include it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// One option or argument that a command has. Copies stand for the same one.
class CommandOption final {
  public:
    explicit CommandOption(CLI::Option* option) : m_option(option) {}

    CommandOption& required();
    /// What the help calls the option's value.
    CommandOption& valueName(const std::string& name);
    /// Refuses values outside the range; both ends belong to it.
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
    /// An option with one value; the variable's content is the default that the help shows. For texts, 16-
    /// and 32-bit numbers and floating-point numbers.
    template <class Value>
    CommandOption option(const std::string& names, Value& value, const std::string& description);
    /// An option with a number of bytes, which may be given as 512M or 2G.
    CommandOption size(const std::string& names, std::uint64_t& bytes, const std::string& description);
    /// An option that may be given several times.
    CommandOption repeatable(const std::string& names, std::vector<std::string>& values,
                             const std::string& description);
    /// An option that takes one of the words, each with the value that it stands for. `words` must live until
    /// the program has run.
    template <class Choice>
    CommandOption choice(const std::string& names, Choice& value, const std::map<std::string, Choice>& words,
                         const std::string& description) {
        std::vector<std::string> list;
        std::string preset;
        for (const auto& [word, meaning] : words) {
            list.push_back(word);
            if (meaning == value) preset = word;
        }
        const auto store = [&value, &words](const std::string& word) { value = words.at(word); };
        return wordOption(names, store, preset, description).oneOf(list);
    }
    /// A positional argument; a vector takes one or more.
    template <class Value>
    CommandOption argument(const std::string& name, Value& value, const std::string& description);

    /// The text below the options in the help: remarks and examples.
    void footer(const std::string& text);
    /// Keeps the command out of the help, the manual page and the completions.
    void hide();
    /// What is done when the command is given.
    void run(std::function<void()> action);

  private:
    CommandOption wordOption(const std::string& names, const std::function<void(const std::string&)>& store,
                             const std::string& preset, const std::string& description);

    CLI::App* m_app; // owned by the program
};
