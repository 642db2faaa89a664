// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/Measurement.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace cli {

std::optional<double> median(std::vector<double> values) {
    if (values.empty())
        return std::nullopt;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void printTable(std::ostream& out, std::span<const Measurement> measurements) {
    constexpr int nameWidth = 44;
    constexpr int numberWidth = 10;
    out << std::left << std::setw(nameWidth) << "" << std::right << std::setw(numberWidth)
        << "median" << std::setw(numberWidth) << "lowest" << std::setw(numberWidth) << "highest"
        << '\n'
        << std::fixed << std::setprecision(2);
    for (const Measurement& measured : measurements) {
        const auto middle = median(measured.values);
        if (!middle)
            continue;
        const auto [lowest, highest] =
            std::minmax_element(measured.values.begin(), measured.values.end());
        out << std::left << std::setw(nameWidth) << measured.what << std::right
            << std::setw(numberWidth) << *middle << std::setw(numberWidth) << *lowest
            << std::setw(numberWidth) << *highest << "  " << measured.unit << '\n';
    }
}

void printJson(std::ostream& out, std::span<const Measurement> measurements) {
    out << '{' << std::setprecision(6);
    const char* separator = "\n";
    for (const Measurement& measured : measurements) {
        const auto middle = median(measured.values);
        if (!middle)
            continue;
        out << separator << "  \"" << measured.name << "\": {\"unit\": \"" << measured.unit
            << "\", \"median\": " << *middle << ", \"values\": [";
        for (std::size_t i = 0; i < measured.values.size(); ++i)
            out << (i == 0 ? "" : ", ") << measured.values[i];
        out << "]}";
        separator = ",\n";
    }
    out << "\n}\n";
}

} // namespace cli
