// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/Subcommand.h"

#include <CLI/CLI.hpp>

namespace cli {

const Argument& Argument::required() const {
    m_option.required();
    return *this;
}

const Argument& Argument::within(double least, double most) const {
    m_option.check(CLI::Range(least, most));
    return *this;
}

const Argument& Argument::within(std::uint32_t least, std::uint32_t most) const {
    m_option.check(CLI::Range(least, most));
    return *this;
}

const Argument& Argument::positive() const {
    m_option.check(CLI::PositiveNumber);
    return *this;
}

const Argument& Argument::showsDefault() const {
    m_option.capture_default_str();
    return *this;
}

Subcommand::Subcommand(CLI::App& app, const std::string& name, const std::string& help)
    : m_command(*app.add_subcommand(name, help)) {}

Argument Subcommand::add(const std::string& names, std::string& value, const std::string& help) {
    return Argument(*m_command.add_option(names, value, help));
}

Argument Subcommand::add(const std::string& names, std::optional<std::string>& value,
                         const std::string& help) {
    return Argument(*m_command.add_option(names, value, help));
}

Argument Subcommand::add(const std::string& names, double& value, const std::string& help) {
    return Argument(*m_command.add_option(names, value, help));
}

Argument Subcommand::add(const std::string& names, std::optional<double>& value,
                         const std::string& help) {
    return Argument(*m_command.add_option(names, value, help));
}

Argument Subcommand::add(const std::string& names, std::uint32_t& value, const std::string& help) {
    return Argument(*m_command.add_option(names, value, help));
}

Argument Subcommand::add(const std::string& names, std::uint64_t& value, const std::string& help) {
    return Argument(*m_command.add_option(names, value, help));
}

Argument Subcommand::add(const std::string& names, bool& value, const std::string& help) {
    return Argument(*m_command.add_flag(names, value, help));
}

void Subcommand::run(std::function<void()> action) {
    m_command.callback(std::move(action));
}

void throwMissing(const std::string& name) {
    throw CLI::RequiredError(name);
}

} // namespace cli
