// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/Log.h"

#include <cstdio>

namespace platform {

static void print(std::FILE* stream, std::string_view line) {
    std::fprintf(stream, "%.*s\n", static_cast<int>(line.size()), line.data());
    std::fflush(stream);
}

void printToStandardOutput(std::string_view line) {
    print(stdout, line);
}
void printToStandardError(std::string_view line) {
    print(stderr, line);
}
void printNothing(std::string_view) {}

Log::Log() : m_sink(printToStandardOutput) {}

void Log::line(std::string_view text) {
    const Lock lock(m_mutex);
    m_sink(text);
}

} // namespace platform
