// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The threads that kernels run on: one for each core, kept from warm-up on.
#pragma once

#include <cstdint>
#include <functional>

namespace compute::host {

/// Calls `work(first, last)` for ranges that cover 0 .. count - 1, on all cores. The ranges start
/// out equal; a core that is done early takes over part of another's. Returns when all are done.
void runOnAllCores(std::uint32_t count,
                   const std::function<void(std::uint32_t first, std::uint32_t last)>& work);

/// Has every worker thread running when it returns, or gives up after a second.
void startWorkers();

} // namespace compute::host
