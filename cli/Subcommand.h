// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How a subcommand declares what it reads from the command line. The library that reads it is all
// templates in headers, which took four seconds to compile in each file that saw them: so only this
// and main() do.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace cli {

/// What was just declared, while more is said about it.
class Argument {
public:
    explicit Argument(CLI::Option& option) : m_option(option) {}

    const Argument& required() const;
    const Argument& within(double least, double most) const;
    const Argument& within(std::uint32_t least, std::uint32_t most) const;
    const Argument& positive() const;
    /// In the help, the value that it has now.
    const Argument& showsDefault() const;

private:
    CLI::Option& m_option;
};

/// A subcommand, or whatever of the command line is declared with it. All values must outlive the
/// reading.
class Subcommand {
public:
    Subcommand(CLI::App& app, const std::string& name, const std::string& help);

    /// `names` as they are typed, such as "-o,--output", or FILE for what has no name.
    Argument add(const std::string& names, std::string& value, const std::string& help);
    Argument add(const std::string& names, std::optional<std::string>& value,
                 const std::string& help);
    Argument add(const std::string& names, double& value, const std::string& help);
    Argument add(const std::string& names, std::optional<double>& value, const std::string& help);
    Argument add(const std::string& names, std::uint32_t& value, const std::string& help);
    Argument add(const std::string& names, std::uint64_t& value, const std::string& help);
    /// True when it is there.
    Argument add(const std::string& names, bool& value, const std::string& help);

    /// What is done once the whole command line has been read.
    void run(std::function<void()> action);

private:
    CLI::App& m_command;
};

/// For an action: the command line lacks this, which is said as all usage errors are.
[[noreturn]] void throwMissing(const std::string& name);

} // namespace cli
