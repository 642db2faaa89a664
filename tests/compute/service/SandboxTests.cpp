// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The lock-down as the process itself experiences it.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

namespace {

TEST(Sandbox, EveryAttemptToBreakOutIsDenied) {
    FILE* pipe = ::popen(FAKE_COMPUTE " --probe 2>&1", "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    char part[512];
    while (std::fgets(part, sizeof part, pipe) != nullptr)
        output += part;
    EXPECT_EQ(::pclose(pipe), 0);

    std::istringstream lines(output);
    int denied = 0;
    int works = 0;
    for (std::string line; std::getline(lines, line);) {
        // Anything but EPERM would mean that the call got as far as being tried.
        const bool refused =
            line.starts_with("denied: ") && line.ends_with("(Operation not permitted)");
        denied += refused ? 1 : 0;
        works += line.starts_with("works: ") ? 1 : 0;
        EXPECT_TRUE(refused || line.starts_with("works: ")) << line;
    }
    EXPECT_GE(denied, 30);
    EXPECT_EQ(works, 2);
}

} // namespace
