// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/Progress.h"

#include "platform/process/Terminal.h"

#include <iomanip>
#include <iostream>
#include <sstream>

namespace cli {
namespace {

constexpr std::uint32_t barLength = 30;
constexpr std::chrono::milliseconds redrawInterval{50};
constexpr const char* wipeLine = "\r\x1b[K";

} // namespace

Progress::Progress(std::string what, std::uint32_t total)
    : m_what(std::move(what)), m_total(total), m_terminal(platform::standardErrorIsTerminal()) {}

Progress::~Progress() {
    if (m_drawn)
        std::cerr << wipeLine << std::flush;
}

void Progress::update(std::uint32_t done) {
    const auto now = Clock::now();
    if (!m_terminal || m_total == 0 || now < m_next)
        return;
    m_next = now + redrawInterval;
    m_drawn = true;
    std::cerr << wipeLine << line(done, now - m_start) << std::flush;
}

std::string Progress::line(std::uint32_t done, Clock::duration elapsed) const {
    const double share = static_cast<double>(done) / m_total;
    const auto filled = static_cast<std::uint32_t>(share * barLength);
    const double seconds = std::chrono::duration<double>(elapsed).count();
    std::ostringstream text;
    text << '[' << std::string(filled, '#') << std::string(barLength - filled, '.') << "] " << done
         << " of " << m_total << ' ' << m_what;
    if (done > 0)
        text << ", " << std::fixed << std::setprecision(0) << seconds / share - seconds
             << " s to go";
    return text.str();
}

} // namespace cli
