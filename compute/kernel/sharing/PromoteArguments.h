// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Argument promotion: turns a shared function that gets and returns its values through private
// memory into one that is passed them. Only then can several threads run it as one: a vector can be
// passed, the address of one thread's variable cannot.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Flattens the functions that chooseShared() has marked and passes them values; they are listed in
/// the context from then on. One that would be passed too much is inlined like any other. Fails as
/// Inliner::flatten() does.
///
/// Flattening is no pass of its own. Which bytes a function accesses shows only when nothing that
/// it calls is handed its pointers any more, so each function waits for its callees to be passed
/// values; and what its callees are passed becomes registers while it is simplified for the first
/// time. Afterwards it would have to be simplified once more.
platform::Result<void> promoteArguments(PassContext& context);

} // namespace compute::kernel
