// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/ServiceMessages.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace gpu::host {

using platform::Error;
using platform::FileDescriptor;
using platform::Result;

namespace {

constexpr std::string_view prefix = "compute: ";

char clean(char byte) {
    constexpr char firstPrintable = 0x20;
    constexpr char lastPrintable = 0x7E;
    if (byte == '\t')
        return ' ';
    return byte >= firstPrintable && byte <= lastPrintable ? byte : '?';
}

} // namespace

// ---- CleanLines ---------------------------------------------------------------------------------

void CleanLines::refill(Clock::time_point now) {
    const std::chrono::duration<double> passed = now - m_refilled;
    m_left = std::min(maxLines, m_left + passed.count() * linesPerSecond);
    m_refilled = now;
}

bool CleanLines::isListening(Clock::time_point now) {
    refill(now);
    if (m_left >= maxLines / 2)
        m_paused = false;
    return !m_paused;
}

std::vector<std::string> CleanLines::add(std::string_view bytes, Clock::time_point now) {
    std::vector<std::string> lines;
    if (!isListening(now))
        return lines;
    for (const char byte : bytes) {
        if (byte != '\n') {
            if (m_line.size() < maxLength)
                m_line += clean(byte);
            continue;
        }
        lines.push_back(end());
        if (--m_left < 1) {
            lines.emplace_back("(too many lines; some are left out)");
            m_paused = true;
            break;
        }
    }
    return lines;
}

std::string CleanLines::end() {
    if (m_line.size() == maxLength)
        m_line += "...";
    return std::exchange(m_line, {});
}

// ---- ServiceMessages ----------------------------------------------------------------------------

Result<ServiceMessages> ServiceMessages::create() {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return Error{std::string("Cannot make a pipe: ") + std::strerror(errno)};
    return ServiceMessages(FileDescriptor(ends[0]), FileDescriptor(ends[1]));
}

int ServiceMessages::descriptor() {
    return m_lines.isListening(CleanLines::Clock::now()) ? m_readEnd.get() : -1;
}

void ServiceMessages::passOn() {
    std::array<char, 16u << 10> bytes{};
    if (descriptor() < 0)
        return;
    const ssize_t count = ::read(m_readEnd.get(), bytes.data(), bytes.size());
    if (count == 0)
        m_readEnd.reset(); // closed by the service; there is nothing to wait for any more
    if (count <= 0)
        return;
    const std::string_view said(bytes.data(), static_cast<std::size_t>(count));
    for (const std::string& line : m_lines.add(said, CleanLines::Clock::now()))
        print(line);
}

/// A terminal that is stopped, or a pipe that nobody reads, does without the line.
void ServiceMessages::print(const std::string& line) {
    m_last = line;
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) != 1 || output.revents != POLLOUT)
        return;
    const std::string text = std::string(prefix) + line + '\n';
    (void)!::write(STDERR_FILENO, text.data(), text.size());
}

void ServiceMessages::passOnLast() {
    // As much as a pipe holds.
    for (int i = 0; i < 4; ++i)
        passOn();
    if (const std::string rest = m_lines.end(); !rest.empty())
        print(rest);
}

} // namespace gpu::host
