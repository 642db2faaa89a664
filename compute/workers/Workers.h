// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The threads that kernels and blits run on: one for each core that this process may use, bound to
// it. Bound, because a thread that is woken for half a millisecond is otherwise often put on the
// core of the thread that woke it, where it waits until that one is done. There is one set of them
// for the whole process, as there is one set of cores.
#pragma once

#include <cstdint>
#include <functional>

namespace compute::workers {

/// Starts the threads, unless they are there. Each calls `prepare` first; all have when this
/// returns. Whoever does without is served all the same: the first work starts them.
void start(void (*prepare)());

/// `work(first, last)` for some of the numbers 0 .. count - 1.
using RangeWork = std::function<void(std::uint32_t first, std::uint32_t last)>;

/// Calls `work` for ranges that cover 0 .. count - 1, on all cores that have time, the caller's
/// among them, and returns when all are done. The ranges get smaller towards the end, so that the
/// cores finish together. Any thread may call it; while the workers are busy for another one, the
/// caller does everything itself. Takes no memory.
void runRanges(std::uint32_t count, const RangeWork& work);

template <class Work>
void run(std::uint32_t count, const Work& work) {
    runRanges(count, std::cref(work)); // a reference fits a std::function
}

} // namespace compute::workers
