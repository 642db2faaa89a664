// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the service says on standard error, which may be a stranger's words: lines for a person to
// read, without anything that a terminal would obey, and not more than one can read.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace gpu::host {

/// Makes lines of bytes. Only printable ASCII is left, and of long lines the beginning.
class CleanLines {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t maxLength = 500;
    /// So many at once, and so many a second in the long run.
    static constexpr double maxLines = 200;
    static constexpr double linesPerSecond = 20;

    /// Returns the lines that are complete. When there have been too many, the last one says so,
    /// and the rest of the bytes is lost.
    std::vector<std::string> add(std::string_view bytes, Clock::time_point now);
    /// What has been begun when nothing more will come; empty when there is nothing.
    std::string end();
    /// After too many lines it is not, for some seconds.
    bool isListening(Clock::time_point now);

private:
    void refill(Clock::time_point now);

    std::string m_line;
    bool m_paused = false;
    double m_left = maxLines;
    Clock::time_point m_refilled;
};

/// The pipe that the service writes to. Its end never waits, so that a service that says a lot
/// loses words and not time. One thread.
class ServiceMessages {
public:
    static platform::Result<ServiceMessages> create();

    /// For the service; to be closed here once it has been started.
    platform::FileDescriptor takeWriteEnd() { return std::move(m_writeEnd); }
    /// To wait for; -1 while nobody listens, or nobody speaks.
    int descriptor();
    /// Prints what there is to standard error, if that takes it at once. Does not wait.
    void passOn();
    /// The same when the service has ended.
    void passOnLast();
    /// The last line that there was; empty before the first one.
    const std::string& last() const { return m_last; }

private:
    void print(const std::string& line);
    ServiceMessages(platform::FileDescriptor readEnd, platform::FileDescriptor writeEnd)
        : m_readEnd(std::move(readEnd)), m_writeEnd(std::move(writeEnd)) {}

    platform::FileDescriptor m_readEnd;
    platform::FileDescriptor m_writeEnd;
    CleanLines m_lines;
    std::string m_last;
};

} // namespace gpu::host
