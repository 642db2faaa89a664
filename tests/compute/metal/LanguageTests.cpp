// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The texts under language/ use the language as programs do; each compiles without a message.
#include "compute/metal/Frontend.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::filesystem::path languageFolder() {
    const char* source = std::getenv("SL42_SOURCE_DIR");
    return std::filesystem::path(source != nullptr ? source : ".") / "tests/compute/metal/language";
}

std::string readText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Language, EveryTextCompilesWithoutAMessage) {
    unsigned count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(languageFolder())) {
        if (entry.path().extension() != ".metal")
            continue;
        ++count;
        auto program = compute::metal::compile(readText(entry.path()));
        EXPECT_TRUE(program) << entry.path() << "\n" << (program ? "" : program.error().message);
        if (program)
            EXPECT_EQ(program->warnings, "") << entry.path();
    }
    EXPECT_GE(count, 5u);
}

/// Prints rather than limits: shared machines are too noisy for a bound that would catch anything.
TEST(Language, ReportsHowLongCompilingTakes) {
    compute::metal::warmUp();
    for (const auto& entry : std::filesystem::directory_iterator(languageFolder())) {
        const std::string source = readText(entry.path());
        std::vector<double> times;
        for (int i = 0; i < 5; ++i) {
            const auto start = std::chrono::steady_clock::now();
            (void)compute::metal::compile(source);
            times.push_back(
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count());
        }
        std::cout << entry.path().filename().string() << ": "
                  << *std::min_element(times.begin(), times.end()) << " ms\n";
    }
}

} // namespace
