// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the system grants on top of the filter for system calls: namespaces in which there is
// nothing to find, no capabilities, no access to files. Each is tried, and none is needed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace compute::service {

/// What was granted.
struct Isolation {
    /// Such as "user pid net ipc uts mount"; empty when there are none.
    std::string namespaces;
    /// Version of Landlock; 0 when the system lacks it.
    int landlock = 0;
    /// How many threads the process may have; 0 when they are not limited apart from the user's.
    unsigned maxThreads = 0;

    bool has(std::string_view name) const;
};

/// What the process can open once it is isolated.
enum class Files : std::uint8_t {
    None,
    OfDrivers, ///< to read: libraries, what drivers are found by; and graphics devices
    All,
};

/// To be called while the process has one thread. The console may have put the process into a
/// process namespace of its own.
Isolation isolate(Files files);

} // namespace compute::service
