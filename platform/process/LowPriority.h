// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Work that must not take time from anybody.
#pragma once

namespace platform {

/// From now on the calling thread, and threads that it starts, run when a processor has nothing
/// else to do, and make way at once. What they hold others wait for, so it must hold nothing that
/// others need.
void takeOnlyIdleTime();

} // namespace platform
