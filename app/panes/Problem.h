// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What is wrong with a program, out of the compile log and the fault that stopped it.
#pragma once

#include "SL42/builder/CompilerMessages.h"
#include "SL42/document/ProgramText.h"
#include "app/panes/LogPosition.h"

#include <optional>
#include <string>
#include <vector>

namespace app {

struct Problem {
    enum class Severity { Error, Warning };
    Severity severity = Severity::Error;
    std::optional<SourcePosition> position; ///< in the file that the user edits
    std::string message;
    bool operator==(const Problem&) const = default;
};

/// The position of a place of the program in the file that the user edits.
SourcePosition inFile(SourcePosition position, const starloom::BlankLead& lead);

/// A fault ("line 3: It hangs") with that position; one without a position stays as it is.
std::string faultInFile(const std::string& fault, const starloom::BlankLead& lead);

/// Errors first, otherwise in their order; what the compiler only notes beside them is left to the
/// log. A failure for which the log names no place is one problem without a position. `fault` and
/// `log` are the console's.
std::vector<Problem> problemsIn(const std::string& fault, const std::string& log,
                                const starloom::ProgramSpan& span, const starloom::BlankLead& lead);

} // namespace app
