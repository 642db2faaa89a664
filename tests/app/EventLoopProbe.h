// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How long a window's event loop leaves the window system waiting, measured from outside: toolkits
// answer the window system's pings from their event loop, as they answer keys and the mouse.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace app::tests {

/// Milliseconds from pings to their answers.
class Latencies {
public:
    void add(double milliseconds) { m_values.push_back(milliseconds); }
    std::size_t count() const { return m_values.size(); }
    /// The value that so much of all (0 to 1) do not exceed; 0 when there are none.
    double quantile(double share) const;
    double max() const { return quantile(1); }
    std::size_t countAbove(double milliseconds) const;

private:
    std::vector<double> m_values;
};

/// Count, quantiles and a histogram, on one line.
std::ostream& operator<<(std::ostream& stream, const Latencies& latencies);

/// Pings the main window of a process from a thread of its own. While there is no window, as after
/// a crash, nothing is measured, and the window that comes next is pinged.
class EventLoopProbe {
public:
    static constexpr std::chrono::milliseconds interval{5};

    /// The title begins with `title`. Throws when there is no such display.
    EventLoopProbe(const std::string& display, std::string title);
    ~EventLoopProbe();

    /// Those since the last call. A ping that waits for its answer counts with its age.
    Latencies take();

private:
    class Connection;

    void run(const std::string& title, const std::stop_token& stop);

    std::unique_ptr<Connection> m_connection;
    std::mutex m_mutex;
    Latencies m_latencies;
    std::optional<std::chrono::steady_clock::time_point> m_oldestUnanswered;
    std::jthread m_thread;
};

} // namespace app::tests
