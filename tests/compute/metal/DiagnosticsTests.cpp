// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What people read: whole messages, and the first line of each refusal.
#include "compute/metal/Frontend.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

std::string messages(std::string_view source) {
    auto program = compute::metal::compile(source);
    return program ? program->warnings : program.error().message;
}

struct Case {
    std::string source;
    std::string expected;
};

/// What stands in a file under diagnostics/: a source, behind => what is said about it, and an
/// empty line; lines that begin with -- are for people.
std::vector<Case> casesIn(const char* name) {
    const char* root = std::getenv("SL42_SOURCE_DIR");
    std::ifstream file(std::string(root ? root : ".") + "/tests/compute/metal/diagnostics/" + name);
    std::vector<Case> cases(1);
    for (std::string line; std::getline(file, line);) {
        auto& [source, expected] = cases.back();
        if (line.empty())
            cases.emplace_back();
        else if (line.starts_with("=> "))
            expected = line.substr(3) + "\n";
        else if (!line.starts_with("-- "))
            (expected.empty() ? source : expected) += line + "\n";
    }
    EXPECT_GE(cases.size(), 5U) << name;
    return cases;
}

TEST(Diagnostics, AreWholeMessagesOnTheProgramsOwnLines) {
    for (const auto& [source, expected] : casesIn("messages.txt"))
        EXPECT_EQ(messages(source), expected) << source;
}

TEST(Diagnostics, NamePlaceAndReasonOfWhatIsRefused) {
    const std::string library = "#include <metal_stdlib>\nusing namespace metal;\n";
    for (const auto& [source, expected] : casesIn("refusals.txt")) {
        const std::string text = messages(library + source);
        EXPECT_EQ(text.substr(0, text.find('\n') + 1), expected) << source << text;
    }
}

TEST(Diagnostics, StayReadableWhenThereAreThousands) {
    std::string source;
    for (int i = 0; i < 3000; ++i)
        source += "int a" + std::to_string(i) + " = b" + std::to_string(i) + ";\n";
    const std::string text = messages(source);
    EXPECT_LT(text.size(), 10'000u);
    EXPECT_NE(text.find("error: and 2980 more errors\n3000 errors generated.\n"),
              std::string::npos);
}

} // namespace
