// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Stop.h"

#include <clang/Basic/Diagnostic.h>
#include <clang/Basic/DiagnosticLex.h>
namespace compute::metal {

// Clang stops instantiating templates only after an error of its own that is fatal, so this borrows
// the one that #error prints.
void stop(clang::DiagnosticsEngine& diagnostics, clang::SourceLocation location,
          const std::string& reason) {
    diagnostics.setSeverity(clang::diag::err_pp_hash_error, clang::diag::Severity::Fatal, {});
    // Twice, since Clang leaves room for notes: it is the next error that shows it the end. Nobody
    // gets to see that one.
    for (int i = 0; i < 2; ++i)
        diagnostics.Report(location, clang::diag::err_pp_hash_error)
            << (reason + "; compilation stopped");
}

} // namespace compute::metal
