// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/Log.h"

#include <cstdio>

namespace platform {

void printToStandardOutput(std::string_view line) {
    std::printf("%.*s\n", static_cast<int>(line.size()), line.data());
    std::fflush(stdout);
}

void printNothing(std::string_view) {}

Log::Log() : m_sink(printToStandardOutput) {}

void Log::line(std::string_view text) {
    const Lock lock(m_mutex);
    m_sink(text);
}

} // namespace platform
