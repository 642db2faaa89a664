// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A process that is started again when it dies. The work is done in a child of this process, which
// itself does nothing but wait, so that nothing can go wrong with it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// What the process that does the work knows of the one before it, and leaves to the one after it.
/// One thread.
class Supervised {
public:
    /// For a process that nobody supervises: all that it leaves is lost.
    Supervised() = default;

    /// How many have died within the last minute; 0 in the first one.
    int recentDeaths() const { return m_recentDeaths; }
    /// Why the one before died, in a line without an end; empty in the first one.
    const std::string& reason() const { return m_reason; }
    /// What the one before has left; empty when it has left nothing.
    const std::string& inheritance() const { return m_inheritance; }

    /// Replaces what will be left. More than 64 KiB is not kept; then what was left before stays.
    void bequeath(std::string_view bytes);
    /// To be called when the start has succeeded. Who dies before that is not started again, since
    /// the next one would do no better.
    void hasStarted();

private:
    friend class Supervisor;
    friend int supervise(const std::function<int(Supervised&)>& work);
    struct Estate;

    Estate* m_estate = nullptr; ///< in memory that all of them share
    int m_recentDeaths = 0;
    std::string m_reason;
    std::string m_inheritance;
};

/// Calls `work` in a child process and returns its status there; in this process, waits for the
/// child and returns the same status. A child that dies of a signal is replaced by a new one, at
/// most three times a minute; signals by which somebody asks for the end (hang-up, interrupt,
/// terminate, quit) are passed on and end both. The child ends with this process. To be called
/// before the process has threads.
int supervise(const std::function<int(Supervised&)>& work);

} // namespace platform
