// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/Problem.h"

#include "SL42/builder/ReadableLog.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>
#include <utility>

namespace app {
namespace {

using Severity = Problem::Severity;

std::optional<Severity> severityOf(std::string_view line) {
    if (line.find(": error: ") != line.npos || line.find(": fatal error: ") != line.npos)
        return Severity::Error;
    if (line.find(": warning: ") != line.npos || line.starts_with("warning: "))
        return Severity::Warning;
    return std::nullopt;
}

/// What follows the position and the severity.
std::string messageIn(std::string_view line) {
    for (const std::string_view word : {"error: ", "warning: "})
        if (const auto at = line.find(word); at != line.npos)
            return std::string(line.substr(at + word.size()));
    return std::string(line);
}

Problem problemIn(std::string_view line, Severity severity, int preludeLines,
                  const starloom::BlankLead& lead) {
    auto position = positionIn(line, preludeLines);
    if (position)
        position = inFile(*position, lead);
    return {severity, position, messageIn(line)};
}

/// "line 3: It hangs" without its position.
Problem problemOf(const std::string& fault, int preludeLines, const starloom::BlankLead& lead) {
    Problem problem = problemIn(fault, Severity::Error, preludeLines, lead);
    if (problem.position)
        problem.message = fault.substr(fault.find(": ") + 2);
    return problem;
}

/// The log says the same for each stage.
void add(std::vector<Problem>& problems, Problem problem) {
    if (std::ranges::find(problems, problem) == problems.end())
        problems.push_back(std::move(problem));
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

std::vector<Problem> problemsIn(const std::string& fault, const std::string& log, int preludeLines,
                                const starloom::BlankLead& lead) {
    std::vector<Problem> problems;
    if (!fault.empty())
        problems.push_back(problemOf(fault, preludeLines, lead));
    std::string failure;
    for (std::string_view rest = log; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (const auto misuse = starloom::misuseIn(line); misuse && !problems.empty()) {
            // The compiler speaks of the prelude first, which nobody can change.
            Problem call = problemIn(line, problems.back().severity, preludeLines, lead);
            call.message = *misuse;
            problems.pop_back();
            add(problems, std::move(call));
        } else if (const auto severity = severityOf(line)) {
            add(problems, problemIn(line, *severity, preludeLines, lead));
        } else if (line.find("ailed") != line.npos && line != "Compilation failed:") {
            failure = line;
        }
    }
    const auto isError = [](const Problem& problem) { return problem.severity == Severity::Error; };
    if (!failure.empty() && std::ranges::none_of(problems, isError))
        problems.push_back({Severity::Error, std::nullopt, failure});
    std::vector<Problem> sorted;
    std::ranges::copy_if(problems, std::back_inserter(sorted), isError);
    std::ranges::copy_if(problems, std::back_inserter(sorted), std::not_fn(isError));
    return sorted;
}

} // namespace app
