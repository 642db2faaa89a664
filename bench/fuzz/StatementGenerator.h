// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random statements of one thread, over the variables of one function.
#pragma once

#include "bench/fuzz/ExpressionGenerator.h"

#include <optional>
#include <vector>

namespace fuzz {

/// Where a statement stands.
struct Place {
    unsigned depth; ///< how deep further statements may nest
    bool inLoop = false;
    bool inSwitch = false; ///< the innermost of both
    unsigned loops = 0;
};

/// The variable that something with a place is, or is a part of.
unsigned variableOf(const Expr& place);

class StatementGenerator {
public:
    /// All must outlive this. Counters of loops are added to the function's variables.
    StatementGenerator(Random& random, const Program& program, Function& function, bool isKernel)
        : m_random(random),
          m_program(program),
          m_function(function),
          m_isKernel(isKernel),
          m_types(random, program),
          m_expressions(random, program, function, isKernel) {}

    ExpressionGenerator& expressions() { return m_expressions; }

    std::vector<Stmt> block(Place place, unsigned count);
    Stmt statement(Place place);
    /// Returns from the function, with a value from helpers and lambdas.
    Stmt result();
    /// Nothing where there is no variable to pass.
    std::optional<Stmt> callOf(unsigned which);

    /// The new variable's number.
    unsigned add(Variable variable);
    Expr value(Type type);
    /// The same for all threads.
    Expr uniform(Type type);
    Expr condition();
    /// A type of something that can be assigned.
    Type assignable();

private:
    std::vector<Stmt> nested(Place place);
    Stmt assignment(Place where);
    void makeCompound(Stmt& s);
    /// A matrix is also multiplied by a number, and a vector by a matrix.
    Type operandFor(const Stmt& s);
    /// Nothing where there is no such variable.
    std::optional<Stmt> step();
    /// What leaves a loop or the function, on a condition so that something is left to do.
    Stmt guarded(Place place, Stmt jump);
    Stmt branch(Place place);
    Stmt loop(Place place);
    /// At most about `limit` iterations, seldom many more.
    void setCounter(Stmt& s);
    Stmt choice(Place place);
    /// A loop that adds up what is a formula of its counter, as far as the loop goes.
    std::optional<Stmt> sum();
    std::optional<Stmt> call();
    std::optional<Expr> argumentFor(const Variable& parameter);
    std::optional<Stmt> point();
    Stmt poke();

    Random& m_random;
    const Program& m_program;
    Function& m_function;
    bool m_isKernel;
    TypeGenerator m_types;
    ExpressionGenerator m_expressions;
};

} // namespace fuzz
