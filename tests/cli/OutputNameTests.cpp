// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Names and patterns of picture files: a user's text that must never act as a format string.
#include "cli/OutputName.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

TEST(OutputName, NamesFrames) {
    const std::tuple<const char*, bool, std::uint32_t, const char*> rows[] = {
        {"out.png", false, 7, "out.png"},
        {"out%04d.png", true, 7, "out0007.png"},
        {"out%04d.png", true, 123456, "out123456.png"},
        {"%d", true, 0, "0"},
        {"a%3d.exr", true, 7, "a  7.exr"},
        {"a%0d.exr", true, 7, "a7.exr"},
        {"a%020d", true, 4294967295U, "a00000000004294967295"},
        {"100%%.png", false, 7, "100%.png"},
        {"%%%d%%.png", true, 7, "%7%.png"},
    };
    for (const auto& [pattern, isPattern, frame, expected] : rows) {
        const auto name = OutputName::parse(pattern);
        ASSERT_TRUE(name) << pattern << ": " << name.error().message;
        EXPECT_EQ(name->isPattern(), isPattern) << pattern;
        EXPECT_EQ(name->forFrame(frame), expected) << pattern;
    }
}

TEST(OutputName, RefusesEverythingElse) {
    for (const char* pattern :
         {"", "%", "a%", "%s", "%n", "%x", "%ld", "%-4d", "%+d", "% d", "%*d", "%.3d", "%1$d", "%4",
          "%04", "%d%d", "a%04d%s", "%021d", "%99999999999999999999d"}) {
        const auto name = OutputName::parse(pattern);
        ASSERT_FALSE(name) << pattern;
        EXPECT_NE(name.error().message.find(pattern), std::string::npos);
    }
}

} // namespace
} // namespace cli
