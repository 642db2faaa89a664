// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/FileClaim.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <atomic>
#include <cstdlib>
#include <thread>

namespace platform {

// Whoever opens a file that a window shows gets that window.
TEST(FileClaim, BelongsToOneWindow) {
    const tests::ScratchFolder folder;
    ::setenv("XDG_RUNTIME_DIR", folder.path("").c_str(), 1);
    const std::string file = folder.file("show.metal", "");
    int raised = 0;
    FileClaim first([&] { ++raised; });
    int descriptor = -1;
    first.onListen = [&](int listening) { descriptor = listening; };
    ASSERT_EQ(first.claim(file), FileClaim::Answer::Ours);
    ASSERT_EQ(first.claim(folder.path("./x/../show.metal")), FileClaim::Answer::Ours);
    const auto claimElsewhere = [&](const std::string& wanted) {
        auto answer = FileClaim::Answer::NoAnswer;
        std::atomic done = false;
        std::thread other([&] {
            FileClaim second([] {});
            answer = second.claim(wanted);
            done = true;
        });
        while (!done) {
            pollfd visitors{descriptor, POLLIN, 0};
            if (::poll(&visitors, 1, 10) > 0)
                first.answer();
        }
        other.join();
        return answer;
    };
    EXPECT_EQ(claimElsewhere(file), FileClaim::Answer::Raised);
    EXPECT_EQ(raised, 1);
    EXPECT_EQ(claimElsewhere(folder.path("other.metal")), FileClaim::Answer::Ours);
    ASSERT_EQ(first.claim(folder.path("new name.metal")), FileClaim::Answer::Ours);
    EXPECT_EQ(claimElsewhere(file), FileClaim::Answer::Ours) << "the first has moved on";
    {
        FileClaim hangs([] {});
        ASSERT_EQ(hangs.claim(file), FileClaim::Answer::Ours);
        EXPECT_EQ(first.claim(file), FileClaim::Answer::NoAnswer); // nobody serves it
    }
    // One that was killed leaves its socket and its lock's file.
    EXPECT_EQ(first.claim(file), FileClaim::Answer::Ours);
}

} // namespace platform
