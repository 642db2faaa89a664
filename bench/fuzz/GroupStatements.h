// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random statements that threads of a group carry out together: they hand values to each other
// through threadgroup memory, and call functions of SIMD groups and quads.
#pragma once

#include "bench/fuzz/StatementGenerator.h"

namespace fuzz {

class GroupStatements {
public:
    /// All must outlive this. `statements` is of the kernel and makes all other statements.
    GroupStatements(Random& random, const Program& program, const Function& kernel,
                    StatementGenerator& statements)
        : m_random(random),
          m_program(program),
          m_kernel(kernel),
          m_types(random, program),
          m_statements(statements) {}

    /// Statements of which some need all threads of a group, or those that get there. All threads
    /// stay until the end.
    std::vector<Stmt> phases(unsigned count);

private:
    std::optional<Expr> anywhere(Type type);
    std::optional<Stmt> exchange();
    std::optional<Stmt> together(bool isWhole);
    std::optional<Stmt> gather();
    Stmt divergence();
    Stmt phaseLoop(unsigned count);

    Random& m_random;
    const Program& m_program;
    const Function& m_kernel;
    TypeGenerator m_types;
    StatementGenerator& m_statements;
    unsigned m_exchanges = 0;
    unsigned m_words = 0;
};

} // namespace fuzz
