// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/TrackRecord.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::chrono_literals;

namespace gpu::host {
namespace {

TEST(TrackRecord, ThirdFailureWithinTenSecondsStopsWhatHasProvenItself) {
    const TrackRecord::Clock::time_point start{};
    const auto failures = [&](std::initializer_list<std::chrono::seconds> times) {
        TrackRecord record;
        record.jobCompleted(start);
        std::string stops;
        for (const auto time : times) {
            stops += record.jobFailed(start + time, 60s) ? 'x' : '-';
            record.jobCompleted(start + time);
        }
        return stops;
    };
    EXPECT_EQ(failures({59s}), "x");
    EXPECT_EQ(failures({60s, 65s, 70s}), "--x");
    EXPECT_EQ(failures({60s, 65s, 71s, 74s, 75s}), "---xx");
}

TEST(TrackRecord, ThreeFailuresInARowAreEnoughHoweverLongTheyTake) {
    const TrackRecord::Clock::time_point start{};
    TrackRecord record;
    record.jobCompleted(start);
    EXPECT_FALSE(record.jobFailed(start + 100s, 60s));
    EXPECT_FALSE(record.jobFailed(start + 200s, 60s));
    EXPECT_TRUE(record.jobFailed(start + 300s, 60s));
}

TEST(Suspicion, EndsWhateverTheServiceDiesOf) {
    const auto attempts = [](bool (Suspicion::*event)()) {
        Suspicion suspicion;
        int count = 1;
        while (!(suspicion.*event)() && count < 1000)
            ++count;
        return count;
    };
    EXPECT_EQ(attempts(&Suspicion::lostAlone), 1);
    EXPECT_EQ(attempts(&Suspicion::stalledAlone), 2);
    EXPECT_EQ(attempts(&Suspicion::lostPerhaps), 2);
    EXPECT_LE(attempts(&Suspicion::killed), 500);
}

} // namespace
} // namespace gpu::host
