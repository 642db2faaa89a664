// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/FaultDescription.h"

#include <algorithm>
#include <cstdint>

namespace starloom {

std::string describeFault(const gpu::CommandBufferError& error, const CompiledProgram& program) {
    const std::string& source = program.source;
    const std::size_t before = program.linesBefore;
    const auto lineCount = static_cast<std::size_t>(std::ranges::count(source, '\n')) + 1;
    const auto place = std::ranges::find_if(error.lines, [&](std::uint32_t line) {
        return line > before && line <= before + lineCount;
    });
    if (place == error.lines.end() || error.what.empty())
        return error.message;
    return "line " + std::to_string(*place - before) + ": " + error.what;
}

} // namespace starloom
