// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What `starloom bench` measures, and how it is put on paper.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// One quantity, measured once or more often.
struct Measurement {
    std::string name; ///< an identifier, also the key in JSON
    std::string what; ///< for people
    std::vector<double> values;
    std::string_view unit = "ms";
};

/// The middle value; of an even number of values the mean of the two in the middle. None of none.
std::optional<double> median(std::vector<double> values);

/// A table: median, lowest and highest of each; quantities without values are left out.
void printTable(std::ostream& out, std::span<const Measurement> measurements);

/// An object with one entry for each quantity, likewise: {"unit", "median", "values"}.
void printJson(std::ostream& out, std::span<const Measurement> measurements);

} // namespace cli
