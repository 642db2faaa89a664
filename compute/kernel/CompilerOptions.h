// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What whoever debugs or measures the compiler may ask for. Read from the environment once, where
// the process begins; passes and back ends get the value.
#pragma once

#include "platform/base/Result.h"

#include <string>

namespace compute::kernel {

struct CompilerOptions {
#ifdef NDEBUG
    static constexpr bool isDebugBuild = false;
#else
    static constexpr bool isDebugBuild = true;
#endif

    /// How many threads run at once, SL42_SIMD: 32, 16, 8, 4 or 1; 0 for what suits the processor.
    /// With 8 and 4, code uses no more of the processor than it would on one that has no more.
    unsigned lanes = 0;
    /// Instructions that a kernel may have with all calls inlined, before it shares functions,
    /// SL42_SHARE. This many take some hundred milliseconds to compile.
    double shareAbove = 20'000;
    /// Whether to say on standard error which kernels run one thread at a time and why, SL42_TRACE.
    bool traces = false;
    /// Whether the code is verified after every pass: in debug builds, and where SL42_VERIFY asks
    /// for it, as all tests do.
    bool verifies = isDebugBuild;
    /// Folder for the code after every pass, SL42_DUMP; empty for none.
    // NOLINTNEXTLINE(readability-redundant-member-init): whoever names the others leaves it out
    std::string dumpFolder = {};

    /// The error names the variable whose value means nothing.
    static platform::Result<CompilerOptions> fromEnvironment();
};

} // namespace compute::kernel
