// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The numbers of `starloom bench` on paper.
#include "cli/Measurement.h"

#include <gtest/gtest.h>

#include <sstream>

namespace cli {
namespace {

TEST(Measurement, MedianIsTheMiddle) {
    EXPECT_EQ(median({}), std::nullopt);
    EXPECT_EQ(median({3}), 3);
    EXPECT_EQ(median({9, 1, 5}), 5);
    EXPECT_EQ(median({4, 1, 100, 2}), 3);
}

TEST(Measurement, BothFormsLeaveOutWhatWasNotMeasured) {
    const std::vector<Measurement> measurements{{"first", "the first", {2, 1.5, 4}},
                                                {"none", "nothing", {}},
                                                {"size", "a size", {8}, "MiB"}};
    std::ostringstream json;
    printJson(json, measurements);
    EXPECT_EQ(json.str(),
              "{\n  \"first\": {\"unit\": \"ms\", \"median\": 2, \"values\": [2, 1.5, 4]},\n"
              "  \"size\": {\"unit\": \"MiB\", \"median\": 8, \"values\": [8]}\n}\n");
    std::ostringstream table;
    printTable(table, measurements);
    EXPECT_EQ(table.str().find("nothing"), std::string::npos);
    EXPECT_NE(table.str().find("2.00      1.50      4.00  ms\n"), std::string::npos) << table.str();
}

} // namespace
} // namespace cli
