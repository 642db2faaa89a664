// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random expressions over the variables of one function.
#pragma once

#include "bench/fuzz/AggregateExpressions.h"
#include "bench/fuzz/FloatExpressions.h"
#include "bench/fuzz/InputExpressions.h"
#include "bench/fuzz/Parts.h"

#include <optional>
#include <utility>

namespace fuzz {

class ExpressionGenerator {
public:
    /// Both must outlive this. Functions of the program may be called; the new one is not among
    /// them yet.
    ExpressionGenerator(Random& random, const Program& program, const Function& function,
                        bool isKernel)
        : m_random(random),
          m_program(program),
          m_function(function),
          m_isKernel(isKernel),
          m_types(random, program),
          m_inputs(random),
          m_floats(random, *this, m_aggregates, program.features.rounding),
          m_aggregates(random, program, *this) {}

    /// An expression of the type. Exact ones are within standardRange() where `bounded`.
    Expr value(Type type, unsigned depth, bool bounded = true);
    /// An unsigned number below `count`; sometimes any number where `mayLeave`.
    Expr index(unsigned count, unsigned depth, bool mayLeave = false);
    /// Where 4 bytes or one may lie in a thread's region.
    Expr regionIndex(unsigned bytes, unsigned depth);
    /// Something of the type to be used so: a part of a variable, or lanes of one.
    std::optional<Expr> place(Type type, unsigned depth, Use use);
    /// What a pointer to the type can point at.
    std::optional<Expr> target(Type type, unsigned depth);
    /// With elements by the dice.
    Expr place(const Part& part, unsigned depth, Use use);
    /// With the element that `at` makes of the type of each array or matrix on the way.
    Expr place(const Part& part, const std::function<Expr(Type)>& at) const;
    /// Of a function that has only plain parameters; nothing where none returns the type.
    std::optional<Expr> call(Type type, unsigned depth);
    /// What `make` generates with this is the same for all threads, as far as they have run the
    /// same rounds of loops.
    template <class Make>
    auto uniformly(const Make& make) {
        const bool before = std::exchange(m_isUniform, true);
        auto made = make();
        m_isUniform = before;
        return made;
    }

private:
    /// The counter of a loop; most often that of the innermost one.
    std::optional<Expr> counter();
    std::optional<Expr> fromCounter(Type type);
    std::vector<unsigned> someLanes(unsigned of, unsigned count, bool distinct);
    Expr literal(Type type);
    Expr simpleIndex();
    Expr leaf(Type type, unsigned depth);
    Expr fromOtherType(Type type);
    std::optional<Expr> input(Type type, unsigned depth);
    Expr convert(Type type, unsigned depth);
    Expr overflow(unsigned depth);
    Expr boolean(Type type, unsigned depth);
    Expr integer(Type type, unsigned depth);
    Expr integerOnly32(Type type, unsigned depth);
    std::optional<Expr> bits(Type type, unsigned depth);

    Random& m_random;
    const Program& m_program;
    const Function& m_function;
    bool m_isKernel;
    bool m_isUniform = false;
    TypeGenerator m_types;
    InputExpressions m_inputs;
    FloatExpressions m_floats;
    AggregateExpressions m_aggregates;
};

} // namespace fuzz
