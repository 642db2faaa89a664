// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom bench`: that every number is there and plausible. How good they are is not for tests.
#include "tests/cli/RunStarloom.h"

#include <gtest/gtest.h>

#include <regex>

namespace cli::tests {
namespace {

double medianOf(const std::string& json, const std::string& name) {
    const std::regex entry("\"" + name + R"re(": \{"unit": "\w+", "median": ([0-9.e+-]+),)re");
    std::smatch match;
    return std::regex_search(json, match, entry) ? std::stod(match[1]) : -1;
}

TEST(Bench, MeasuresEveryPhase) {
    const std::string program = (sourceFolder() / "examples/shapes.metal").string();
    const Outcome run = runStarloom({"bench", program, "--frames", "3", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    for (const char* name :
         {"sourceToLogCold", "sourceToLogWarm", "compileFrontEnd", "compileOptimiser",
          "compileCodeGeneration", "frameCpu", "frameVideo", "frameDisplay", "songRender",
          "songRate", "songSpeed", "residentMemory"})
        EXPECT_GT(medianOf(run.out, name), 0) << name << " in " << run.out;
    // If these came from a cache they would be zero above; that they are compiled from scratch
    // shows in the whole, which cannot be quicker than its parts.
    EXPECT_GT(medianOf(run.out, "sourceToLogWarm"), medianOf(run.out, "compileFrontEnd"));
}

TEST(Bench, WorksWithoutAllStages) {
    const Outcome silent = runStarloom({"bench", "-", "--frames", "2"}, "void cpu() {\n}\n");
    EXPECT_EQ(silent.status, 0) << silent.err;
    EXPECT_NE(silent.out.find("frame: cpu"), std::string::npos) << silent.out;
    EXPECT_EQ(silent.out.find("song"), std::string::npos) << silent.out;
}

} // namespace
} // namespace cli::tests
