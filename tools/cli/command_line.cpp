#include "tools/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <utility>

CommandOption& CommandOption::required() {
    m_option->required();
    return *this;
}

CommandOption& CommandOption::valueName(const std::string& name) {
    m_option->type_name(name);
    return *this;
}

CommandOption& CommandOption::inRange(std::int64_t lowest, std::int64_t highest) {
    m_option->check(CLI::Range(lowest, highest).description(""));
    return *this;
}

CommandOption& CommandOption::inRange(double lowest, double highest) {
    m_option->check(CLI::Range(lowest, highest).description(""));
    return *this;
}

CommandOption& CommandOption::oneOf(const std::vector<std::string>& words) {
    m_option->check(CLI::IsMember(words));
    return *this;
}

CommandOption& CommandOption::excludes(const CommandOption& other) {
    m_option->excludes(other.m_option);
    return *this;
}

CommandOption& CommandOption::needs(const CommandOption& other) {
    m_option->needs(other.m_option);
    return *this;
}

Command::Command(CLI::App& program, const std::string& name, const std::string& description)
    : m_app(program.add_subcommand(name, description)) {}

CommandOption Command::flag(const std::string& names, bool& value, const std::string& description) {
    return CommandOption(m_app->add_flag(names, value, description));
}

template <class Value>
CommandOption Command::option(const std::string& names, Value& value, const std::string& description) {
    return CommandOption(m_app->add_option(names, value, description)->capture_default_str());
}

template CommandOption Command::option(const std::string&, std::string&, const std::string&);
template CommandOption Command::option(const std::string&, std::uint16_t&, const std::string&);
template CommandOption Command::option(const std::string&, std::uint32_t&, const std::string&);
template CommandOption Command::option(const std::string&, float&, const std::string&);
template CommandOption Command::option(const std::string&, double&, const std::string&);
template CommandOption Command::option(const std::string&, std::optional<std::uint16_t>&, const std::string&);

CommandOption Command::size(const std::string& names, std::uint64_t& bytes, const std::string& description) {
    CLI::Option* const option = m_app->add_option(names, bytes, description);
    option->transform(CLI::AsSizeValue(false).description(""));
    option->type_name("SIZE")->default_str(std::to_string(bytes >> 20U) + "M");
    return CommandOption(option);
}

CommandOption Command::repeatable(const std::string& names, std::vector<std::string>& values,
                                  const std::string& description) {
    return CommandOption(m_app->add_option(names, values, description)->allow_extra_args(false));
}

CommandOption Command::wordOption(const std::string& names,
                                  const std::function<void(const std::string&)>& store,
                                  const std::string& preset, const std::string& description) {
    return CommandOption(
        m_app->add_option_function<std::string>(names, store, description)->default_str(preset));
}

template <class Value>
CommandOption Command::argument(const std::string& name, Value& value, const std::string& description) {
    return CommandOption(m_app->add_option(name, value, description)->required());
}

template CommandOption Command::argument(const std::string&, std::string&, const std::string&);
template CommandOption Command::argument(const std::string&, std::uint32_t&, const std::string&);
template CommandOption Command::argument(const std::string&, std::vector<std::string>&, const std::string&);

void Command::footer(const std::string& text) {
    m_app->footer(text);
}

void Command::hide() {
    m_app->group("");
}

void Command::run(std::function<void()> action) {
    m_app->callback(std::move(action));
}
