// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/FramePacer.h"

#include <gtest/gtest.h>

#include <cmath>

namespace starloom {
namespace {

using Seconds = FramePacer::Seconds;

// Waits as a timer of whole milliseconds does: late by `latency`, and rounded down.
int framesIn(Seconds duration, int rate, Seconds latency) {
    FramePacer pacer;
    pacer.setRate(rate);
    Seconds now{100};
    const Seconds end = now + duration;
    int frames = 0;
    while (now < end) {
        frames += pacer.isDue(now) ? 1 : 0;
        now += Seconds(std::floor(pacer.untilDue(now).count() * 1000) / 1000) + latency;
    }
    return frames;
}

TEST(FramePacer, KeepsTheRateWithCoarseTimers) {
    for (const int rate : {24, 50, 60, 120, 144})
        EXPECT_NEAR(framesIn(Seconds(10), rate, Seconds(0.0003)), rate * 10, 2) << rate;
}

TEST(FramePacer, LeavesMissedFramesOut) {
    FramePacer pacer;
    ASSERT_TRUE(pacer.isDue(Seconds(5)));
    ASSERT_TRUE(pacer.isDue(Seconds(7))); // two seconds late
    EXPECT_FALSE(pacer.isDue(Seconds(7.002)));
    EXPECT_TRUE(pacer.isDue(Seconds(7.0166)));
}

} // namespace
} // namespace starloom
