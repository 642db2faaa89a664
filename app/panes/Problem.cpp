// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/Problem.h"

#include <string_view>
#include <utility>

namespace app {
namespace {

using Severity = Problem::Severity;

/// "line 3: It hangs" without its position.
Problem problemOf(const std::string& fault, const starloom::BlankLead& lead) {
    const auto position = positionIn(fault, 0);
    if (!position)
        return {Severity::Error, std::nullopt, fault};
    return {Severity::Error, inFile(*position, lead), fault.substr(fault.find(": ") + 2)};
}

} // namespace

SourcePosition inFile(SourcePosition position, const starloom::BlankLead& lead) {
    return {position.line + lead.lines, position.column + (position.line == 1 ? lead.columns : 0)};
}

std::string faultInFile(const std::string& fault, const starloom::BlankLead& lead) {
    const auto position = positionIn(fault, 0);
    if (!position || lead.lines == 0)
        return fault;
    return "line " + std::to_string(inFile(*position, lead).line) + fault.substr(fault.find(':'));
}

std::vector<Problem> problemsIn(const std::string& fault, const std::string& log,
                                const starloom::ProgramSpan& span,
                                const starloom::BlankLead& lead) {
    std::vector<Problem> problems;
    if (!fault.empty())
        problems.push_back(problemOf(fault, lead));
    for (starloom::CompilerMessage& message : starloom::messagesIn(log, span)) {
        if (message.severity == starloom::CompilerMessage::Severity::Note)
            continue;
        const bool isError = message.severity == starloom::CompilerMessage::Severity::Error;
        auto position = positionAt(message.place);
        if (position)
            position = inFile(*position, lead);
        problems.push_back(
            {isError ? Severity::Error : Severity::Warning, position, std::move(message.text)});
    }
    return problems;
}

} // namespace app
