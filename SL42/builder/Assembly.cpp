// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/Assembly.h"

#include "SL42/builder/PreludeBodies.h"
#include "SL42/prelude/ShaderStrings.h"
#include "platform/Lines.h"

#include <algorithm>

namespace starloom {

// Editors trim the last line end: a comment or directive there would take the tail's first line,
// the end of the class, with it.
static bool swallowsWhatFollows(std::string_view program) {
    const std::string_view lastLine = program.substr(program.rfind('\n') + 1);
    return lastLine.starts_with('#') || lastLine.find("//") != std::string_view::npos;
}

std::string assembleProgram(std::string_view source, const PreprocessedSource& preprocessed) {
    const std::string_view tail = GPUShaderStrings::kernelTail();
    std::string rest;
    rest.reserve(source.size() + preprocessed.additions.size() + tail.size() + 1);
    rest.append(source).append(preprocessed.additions);
    if (swallowsWhatFollows(rest))
        rest += '\n';
    rest.append(tail);
    return preludeFor(rest) + rest;
}

std::size_t linesBeforeProgram() {
    const std::string& header = SharedShaderStrings::standardProcessingHeader();
    return static_cast<std::size_t>(std::count(header.begin(), header.end(), '\n'));
}

ProgramSpan spanOf(std::string_view source) {
    return {.before = linesBeforeProgram(), .count = platform::linesOf(source).size()};
}

} // namespace starloom
