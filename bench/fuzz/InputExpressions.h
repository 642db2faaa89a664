// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random values of the kernel's inputs.
#pragma once

#include "bench/fuzz/Program.h"
#include "bench/fuzz/Random.h"

namespace fuzz {

class InputExpressions {
public:
    explicit InputExpressions(Random& random) : m_random(random) {}

    /// Of one buffer, mostly another element in each thread.
    Expr at(unsigned buffer);
    /// The same as numbers of any type.
    Expr numbers(Type type);
    /// Also another one for each value of an unsigned counter, which is small.
    Expr numbers(Type type, const Expr& counter);

private:
    Expr inRow();

    Random& m_random;
};

} // namespace fuzz
