// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random expressions over the variables of one function.
#pragma once

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Program.h"
#include "bench/fuzz/Random.h"

#include <optional>

namespace fuzz {

class ExpressionGenerator {
public:
    /// Both must outlive this. Functions of the program may be called; the new one is not among
    /// them yet.
    ExpressionGenerator(Random& random, const Program& program, const Function& function,
                        bool isKernel)
        : m_random(random), m_program(program), m_function(function), m_isKernel(isKernel) {}

    /// An expression of the type. Exact ones are within standardRange() where `bounded`.
    Expr value(Type type, unsigned depth, bool bounded = true);
    /// A value of the kernel's inputs, mostly another one in each thread.
    Expr fromInputs(Type type);
    /// An unsigned number below `count`; sometimes any number where `mayLeave`.
    Expr index(unsigned count, unsigned depth, bool mayLeave = false);
    /// Something of the type that can be assigned to or, for `address`, pointed at.
    std::optional<Expr> place(Type type, unsigned depth, bool assigned, bool address = false);
    /// The variable or an element of it; a lane or field where `type` is one.
    Expr element(unsigned variable, unsigned depth, bool address = false);
    Type anyType();

private:
    struct Candidate {
        unsigned variable;
        int field;
        unsigned lanes; ///< of the whole; other than the type's where lanes are to be chosen
    };
    std::vector<Candidate> candidates(Type type, bool assigned, bool address) const;
    std::vector<unsigned> someLanes(unsigned of, unsigned count, bool distinct);
    Expr node(Op op, Type type, unsigned which, std::vector<Expr> args) const;
    Expr literal(Type type);
    Expr number(Type type, double value) const;
    Expr leaf(Type type, unsigned depth);
    Expr fromOtherType(Type type);
    std::optional<Expr> input(Type type, unsigned depth);
    Expr inputAt(unsigned buffer);
    Expr convert(Type type, unsigned depth);
    Expr boolean(Type type, unsigned depth);
    Expr integer(Type type, unsigned depth);
    Expr integerOnly32(Type type, unsigned depth);
    Expr exact(Type type, unsigned depth);
    Expr rough(Type type, unsigned depth);
    /// A rough value within the domain.
    Expr tamed(Type type, Domain domain, unsigned depth);
    /// Within standardRange().
    Expr normalised(Expr e) const;
    Expr call(Type type, unsigned depth);

    Random& m_random;
    const Program& m_program;
    const Function& m_function;
    bool m_isKernel;
};

/// Whether the type can hold all values of the range without rounding.
bool fits(Scalar type, Range range);

} // namespace fuzz
