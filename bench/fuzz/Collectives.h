// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Functions with which the threads of a SIMD group work together, each with what it should return,
// written independently of the library's own text.
#pragma once

#include "bench/fuzz/Program.h"

#include <span>

namespace fuzz {

inline constexpr unsigned simdWidth = 32;

enum class Together : std::uint8_t {
    Reduce,  ///< of the threads that get there
    Prefix,  ///< of those that get there before
    Vote,    ///< of conditions; the result is a uint
    Quad,    ///< as Reduce, of four
    Shuffle, ///< the value of the thread that the operand names; all threads must get there
    Shift,   ///< the same by distance, and the thread's own where there is none
};

/// A thread's value, with its lane in the SIMD group.
struct Contribution {
    unsigned lane;
    std::int64_t value;
};

struct Collective {
    const char* name;
    Together kind;
    /// Of `lane` and its operand, which only Shuffle and Shift have. Threads by lane.
    std::int64_t (*evaluate)(Scalar type, std::span<const Contribution> threads, unsigned lane,
                             unsigned operand);
};

std::span<const Collective> collectives();
constexpr bool needsAll(Together kind) {
    return kind == Together::Shuffle || kind == Together::Shift;
}
/// Whether threads must run a statement together, because of it or of what is within.
bool isCollective(const Stmt& s);

} // namespace fuzz
