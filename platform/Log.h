// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where diagnostics go, line by line. There are no levels: a line is either worth printing or not.
#pragma once

#include "platform/base/Mutex.h"

#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// Lines from several threads never mix. Safe to use from any thread.
class Log {
public:
    /// Receives one line at a time, without its line end; calls never overlap.
    using Sink = std::function<void(std::string_view line)>;

    /// Prints to standard output, flushed after every line.
    Log();
    explicit Log(Sink sink) : m_sink(std::move(sink)) {}
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void line(std::string_view text);

private:
    Mutex m_mutex;
    Sink m_sink SL42_GUARDED_BY(m_mutex);
};

/// Sinks for Log: standard output, or nowhere.
void printToStandardOutput(std::string_view line);
void printNothing(std::string_view line);

} // namespace platform
