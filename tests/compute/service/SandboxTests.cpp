// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The lock-down as the process itself experiences it.
#include "gpu/host/SelfTest.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

class Sandbox : public ::testing::TestWithParam<const char*> {};

TEST_P(Sandbox, EveryAttemptToBreakOutIsDenied) {
    const auto tested = gpu::host::testSandbox(GetParam());
    ASSERT_TRUE(tested) << tested.error().message;
    EXPECT_TRUE(tested->isTight);
    std::istringstream lines(tested->report);
    int denied = 0;
    int works = 0;
    for (std::string line; std::getline(lines, line);) {
        denied += line.starts_with("denied: ") ? 1 : 0;
        works += line.starts_with("works: ") ? 1 : 0;
        EXPECT_FALSE(line.starts_with("POSSIBLE: ") || line.starts_with("BROKEN: ")) << line;
    }
    const std::string number = std::to_string(denied);
    EXPECT_EQ(tested->summary.find("sandbox: " + number + " of " + number + " attempts denied; "),
              0u)
        << tested->summary;
    EXPECT_GE(denied, 100);
    EXPECT_EQ(works, 4);
    std::puts(tested->summary.c_str());
}

INSTANTIATE_TEST_SUITE_P(Services, Sandbox, ::testing::Values(FAKE_COMPUTE, BUILT_SERVICE),
                         [](const auto& info) { return info.index == 0 ? "Fake" : "Real"; });

TEST(SandboxTests, AServiceThatDoesNotRunIsNoSuccess) {
    EXPECT_FALSE(gpu::host::testSandbox("/nonexistent/starloom-compute"));
    const auto other = gpu::host::testSandbox("/bin/true");
    ASSERT_TRUE(other);
    EXPECT_FALSE(other->isTight);
}

} // namespace
