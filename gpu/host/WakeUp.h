// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Has a thread that waits in poll() look up.
#pragma once

#include "platform/base/FileDescriptor.h"

namespace gpu::host {

/// Any thread. Stops the program when the system has no descriptor left.
class WakeUp {
public:
    WakeUp();
    void signal() const;
    /// Forgets the signals so far.
    void clear() const;
    /// Readable once there has been a signal.
    int descriptor() const { return m_event.get(); }

private:
    platform::FileDescriptor m_event;
};

} // namespace gpu::host
