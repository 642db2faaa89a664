// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A line on standard error that shows how far long work has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

/// Prints nothing unless standard error is a terminal, and nothing for work that is done in less
/// than half a second. The line is wiped when the object goes.
class Progress {
public:
    /// `total` steps of something called `what`, such as "frames".
    Progress(std::string what, std::uint32_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Says that `done` steps are behind us.
    void update(std::uint32_t done);

private:
    using Clock = std::chrono::steady_clock;
    std::string line(std::uint32_t done, Clock::duration elapsed) const;

    std::string m_what;
    std::uint32_t m_total;
    bool m_terminal;
    bool m_drawn = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_next = m_start + std::chrono::milliseconds(500);
};

} // namespace cli
