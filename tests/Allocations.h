// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Counts what a test program asks the heap for, on all its threads. Linked into a program, it takes
// the place of the language's allocation functions.
#pragma once

#include <cstddef>

namespace test {

/// How many blocks the process has asked for so far.
std::size_t allocationCount();

/// How many blocks `work` asks for in a hundred rounds, after a few that do not count.
template <class Work>
std::size_t allocationsOf(Work&& work) {
    for (int round = 0; round < 20; ++round)
        work();
    const std::size_t before = allocationCount();
    for (int round = 0; round < 100; ++round)
        work();
    return allocationCount() - before;
}

} // namespace test
