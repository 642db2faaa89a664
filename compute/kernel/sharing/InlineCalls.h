// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes one function of a kernel and everything that it calls, but for what a large kernel is to
// share. First simplifies each function, callers before callees, so that what constants make dead
// is never copied. Then inlines: what is called once goes in as it is, what is called more often is
// flattened and simplified before, so that the work grows with the code that results and not with
// the depth of the calls.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// A kernel may have this many instructions once all calls are inlined; the sum over its nested
/// calls can grow exponentially with the text, and compiling must stay bounded.
inline constexpr unsigned maxInstructions = 400'000;

/// Flattens the canonical function, the initialisers of variables, and the functions that are
/// shared, which are listed in the context. Fails, naming the function, when one is called but not
/// defined, calls itself, or would exceed maxInstructions.
platform::Result<void> inlineCalls(PassContext& context);

} // namespace compute::kernel
