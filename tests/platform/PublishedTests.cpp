// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/Published.h"

#include <gtest/gtest.h>

#include <vector>

using platform::Observation;
using platform::Published;

TEST(Published, TellsThoseWhoWatch) {
    Observation outlives;
    {
        Published<int> value(1);
        std::vector<int> seen;
        Observation first = value.observe([&](int now) { seen.push_back(now); });
        outlives = value.observe([&](int now) { seen.push_back(-now); });
        value.set(2);
        first.reset();
        value.set(3);
        EXPECT_EQ(seen, (std::vector<int>{2, -2, -3}));
        EXPECT_EQ(value.get(), 3);
    }
    outlives.reset();
}

TEST(Published, ObserversMaySetAndLeave) {
    Published<int> value;
    int calls = 0;
    Observation observation;
    observation = value.observe([&](int now) {
        ++calls;
        if (now < 3)
            value.set(now + 1);
        else
            observation.reset();
    });
    value.set(1);
    EXPECT_EQ(value.get(), 3);
    EXPECT_EQ(calls, 3);
    value.set(7);
    EXPECT_EQ(calls, 3);
}
