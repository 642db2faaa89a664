// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Texts at which the real compiler would work for ever or take all memory: each ends with one
// error, soon, and what ran before goes on.
#include "tests/compute/service/Console.h"

#include <fstream>
#include <thread>

using namespace std::chrono_literals;

namespace test {
namespace {

const std::string header = "#include <metal_stdlib>\nusing namespace metal;\n";
const std::string countingProgram = header +
                                    "kernel void run(device uint* data [[buffer(0)]],"
                                    " uint i [[thread_position_in_grid]]) { data[i] += 1; }\n";

/// Definitions for 60 numbers n, with $ for n and @ for the number before.
std::string chain(const std::string& first, const std::string& link) {
    std::string source = first;
    for (int i = 1; i < 60; ++i)
        for (const char c : link)
            source += c == '$'   ? std::to_string(i)
                      : c == '@' ? std::to_string(i - 1)
                                 : std::string(1, c);
    return source;
}

/// Memory of its own, in megabytes, of the service that this process has now.
std::size_t memoryOfService() {
    std::size_t megabytes = 0;
    for (const pid_t child : children()) {
        std::ifstream status("/proc/" + std::to_string(child) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("RssAnon:"))
                megabytes += std::stoul(line.substr(8)) / 1024;
    }
    return megabytes;
}

struct Bomb {
    const char* name;
    std::string source;
    const char* message;
};

class CompileBomb : public Console, public ::testing::WithParamInterface<Bomb> {
protected:
    CompileBomb() : Console(BUILT_SERVICE) {}
};

std::ostream& operator<<(std::ostream& stream, const Bomb& bomb) {
    return stream << bomb.name;
}

TEST_P(CompileBomb, EndsWithOneErrorWhileThePictureGoesOn) {
    const auto picture = pipeline("run", countingProgram);
    run({picture});
    auto bomb = gpu::startLibrary(*device, GetParam().source);
    std::size_t most = 0;
    std::uint32_t frames = 1;
    const auto start = std::chrono::steady_clock::now();
    while (!bomb.isThere()) {
        const auto frame = run({picture});
        ASSERT_EQ(frame->status(), gpu::CommandBufferStatus::Completed) << frame->error()->message;
        ++frames;
        std::this_thread::sleep_for(10ms);
        most = std::max(most, memoryOfService());
        ASSERT_LT(std::chrono::steady_clock::now() - start, 120s) << "on a machine with much to do";
    }
    const auto result = bomb.get();
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().message.find(GetParam().message), std::string::npos)
        << result.error().message;
    EXPECT_LT(most, 1000u) << "megabytes";
    EXPECT_EQ(run({picture})->status(), gpu::CommandBufferStatus::Completed);
    EXPECT_EQ(counter(), frames + 1) << "no frame was lost or drawn twice";
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::printf("%s: %.1f s, %zu MB, %u frames\n", GetParam().name, taken.count(), most, frames);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CompileBomb,
    ::testing::Values(
        Bomb{"Memory", "struct A { int x; constexpr A() : x(3) {} }; constant A a[20000000];",
             "error: compiling this program takes too much memory"},
        Bomb{"Types",
             chain("template <class A, class B> struct P {}; using t0 = int;\n",
                   "using t$ = P<t@, t@>;\n") +
                 "void f(t50 x) {} kernel void m(device float* o) { f(t50()); }",
             "error: compiling this program takes too long"},
        Bomb{"Abort", "struct A { int x; constexpr A() : x(3) {} }; constant A a[2000000000];",
             "error: the compiler broke down on this program"},
        Bomb{
            "Constants",
            "constexpr int f(int n) { int s = 0; for (int i = 0; i < 60000; ++i) s += i * n;"
            " return s; }\n" +
                chain("",
                      "constant int a$ = f($), b$ = f($ + 1), c$ = f($ + 2), d$ = f($ + 3);\n") +
                chain("",
                      "constant int e$ = f($), g$ = f($ + 1), h$ = f($ + 2), i$ = f($ + 3);\n") +
                chain("", "constant int j$ = f($), k$ = f($ + 1), l$ = f($ + 2), m$ = f($ + 3);\n"),
            "takes too long to compile"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace test
