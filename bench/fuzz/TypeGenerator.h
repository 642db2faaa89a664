// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random types.
#pragma once

#include "bench/fuzz/Program.h"
#include "bench/fuzz/Random.h"

namespace fuzz {

class TypeGenerator {
public:
    /// Both must outlive this. Structures of the program may be used; a new one is not among them
    /// yet.
    TypeGenerator(Random& random, const Program& program) : m_random(random), m_program(program) {}

    Scalar integer();
    Type numbers();
    Type matrix();
    /// What can be assigned, passed and returned.
    Type copyable();
    /// What a variable or a field can be; of a limited size.
    Type any(unsigned maxCells);
    Structure structure();

private:
    /// Numbers as variables hold them.
    Type stored();
    Type aggregate();

    Random& m_random;
    const Program& m_program;
};

} // namespace fuzz
