// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/CompilerOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace compute::kernel {
namespace {

/// Empty when the variable is not set.
std::string_view textOf(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr ? value : "";
}

bool isOn(const char* variable) {
    const std::string_view text = textOf(variable);
    return !text.empty() && text != "0";
}

std::optional<unsigned> numberIn(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

platform::Error meaningless(const char* variable, std::string_view text, const char* expected) {
    return {std::string(variable) + ": '" + std::string(text) + "' is not " + expected};
}

} // namespace

platform::Result<CompilerOptions> CompilerOptions::fromEnvironment() {
    CompilerOptions options;
    if (const auto text = textOf("SL42_SIMD"); !text.empty()) {
        constexpr std::array widths = {32U, 16U, 8U, 4U, 1U};
        const auto lanes = numberIn(text);
        if (!lanes || std::ranges::find(widths, *lanes) == widths.end())
            return meaningless("SL42_SIMD", text, "32, 16, 8, 4 or 1");
        options.lanes = *lanes;
    }
    if (const auto text = textOf("SL42_SHARE"); !text.empty()) {
        const auto instructions = numberIn(text);
        if (!instructions)
            return meaningless("SL42_SHARE", text, "a number of instructions");
        options.shareAbove = *instructions;
    }
    options.traces = isOn("SL42_TRACE");
    options.verifies = options.verifies || isOn("SL42_VERIFY");
    options.dumpFolder = textOf("SL42_DUMP");
    return options;
}

} // namespace compute::kernel
