// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Copies functions to where they are called. What is called once goes in as it is; what is called
// more often is flattened and simplified before, so that the work grows with the code that results
// and not with the depth of the calls. Calls of shared functions stay.
#pragma once

#include "compute/kernel/Pass.h"
#include "compute/kernel/sharing/FunctionSimplifier.h"

#include <map>

namespace compute::kernel {

/// A function may have this many instructions once all its calls are inlined; the sum over nested
/// calls can grow exponentially with the text, and compiling must stay bounded.
inline constexpr unsigned maxInstructions = 400'000;

/// For one pass over a module: remembers which functions it has flattened.
class Inliner {
public:
    /// Both must outlive this.
    Inliner(PassContext& context, FunctionSimplifier& simplifier)
        : m_context(context), m_simplifier(simplifier) {}

    /// Inlines all calls of the function but those of shared functions (ChooseShared.h). Fails,
    /// naming the function, when one is called but not defined, calls itself, or would exceed
    /// maxInstructions.
    platform::Result<void> flatten(llvm::Function& function);

private:
    enum class State : std::uint8_t { Open, Done };
    using Calls = llvm::SmallVector<llvm::CallInst*>;

    platform::Result<void> inlineAll(llvm::Function& function, Calls calls);
    /// Returns the calls that came with the callee's body.
    platform::Result<Calls> inlineCall(llvm::CallInst& call);

    PassContext& m_context;
    FunctionSimplifier& m_simplifier;
    std::map<llvm::Function*, State> m_states;
};

} // namespace compute::kernel
