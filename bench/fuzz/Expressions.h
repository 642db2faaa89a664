// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Evaluates the expressions of one thread.
#pragma once

#include "bench/fuzz/Inputs.h"
#include "bench/fuzz/Variables.h"

#include <functional>
#include <map>
#include <span>

namespace fuzz {

/// The cells that each parameter starts with.
using Arguments = std::vector<Value>;

/// The thread that is being run.
struct Thread {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::span<std::uint8_t> region; ///< its own bytes of device memory
    Variables variables;
    std::map<const Function*, Arguments> closures; ///< what lambdas have captured
};

class Expressions {
public:
    using Call = std::function<Value(const Function& callee, const Arguments& arguments)>;

    /// All must outlive this.
    Expressions(const Program& program, const Inputs& inputs, Thread& thread, Call call)
        : m_program(program), m_inputs(inputs), m_thread(thread), m_call(std::move(call)) {}

    Value evaluate(const Expr& e, const Frame& frame);
    std::int64_t integer(const Expr& e, const Frame& frame) {
        return evaluate(e, frame)[0].integer;
    }
    bool holds(const Expr& condition, const Frame& frame) { return integer(condition, frame) != 0; }
    Location locate(const Expr& place, const Frame& frame);

private:
    std::size_t partAt(const Expr& part, const Frame& frame);
    Value callPlain(const Expr& e, const Frame& frame);
    Value operation(const Expr& e, const std::vector<Value>& args) const;
    Cell laneOf(const Expr& e, const std::vector<Value>& args, unsigned lane) const;

    const Program& m_program;
    const Inputs& m_inputs;
    Thread& m_thread;
    Call m_call;
};

} // namespace fuzz
