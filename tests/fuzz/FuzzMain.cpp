// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Compares the compiler with an evaluator on random programs.
//
//     starloom-fuzz [--seed N] [--count M] [--width 16,8,4,1] [--print] [--shrink] [--keep DIR]
//
// Prints a line for each program that fails; --print its text as well, --shrink the smallest text
// that fails in the same way. --keep writes texts to DIR/seed-N-width-W.metal, with the line on
// top.
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Generator.h"
#include "tests/fuzz/Isolation.h"
#include "tests/fuzz/Printer.h"
#include "tests/fuzz/Shrinker.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

struct Options {
    std::uint64_t seed = 1;
    std::size_t count = 100;
    std::vector<unsigned> widths{1};
    bool prints = false;
    bool shrinks = false;
    std::string folder;
};

std::vector<unsigned> numbers(const char* text) {
    std::vector<unsigned> result;
    std::istringstream in(text);
    for (std::string number; std::getline(in, number, ',');)
        result.push_back(static_cast<unsigned>(std::stoul(number)));
    return result;
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--print") {
            options.prints = true;
        } else if (name == "--shrink") {
            options.shrinks = true;
        } else if (i + 1 < argc && name == "--seed") {
            options.seed = std::stoull(argv[++i]);
        } else if (i + 1 < argc && name == "--count") {
            options.count = std::stoull(argv[++i]);
        } else if (i + 1 < argc && name == "--width") {
            options.widths = numbers(argv[++i]);
        } else if (i + 1 < argc && name == "--keep") {
            options.folder = argv[++i];
        } else {
            std::fprintf(stderr, "starloom-fuzz: what is %s?\n", name.c_str());
            std::exit(2);
        }
    }
    return options;
}

/// What went wrong, without the details that shrinking changes.
std::string kindOf(const std::string& result) {
    return result.substr(0, result.find(':'));
}

std::string checkIsolated(const fuzz::Program& program, unsigned width) {
    std::string result;
    fuzz::runIsolated(
        1, [&] { fuzz::warmUp(width); }, [&](std::size_t) { return fuzz::check(program); },
        [&](std::size_t, const std::string& found) { result = found; });
    return result;
}

void showFailure(std::uint64_t seed, unsigned width, std::string result, const Options& options) {
    fuzz::Program program = fuzz::generate(seed);
    if (options.shrinks) {
        program = fuzz::shrink(std::move(program), [&](const fuzz::Program& candidate) {
            return kindOf(checkIsolated(candidate, width)) == kindOf(result);
        });
        result = checkIsolated(program, width);
    }
    std::ostringstream line;
    line << "seed " << seed << ", width " << width << ", " << program.width << " x "
         << program.height << " threads: " << result << "\n";
    std::fputs(line.str().c_str(), stdout);
    if (options.prints || options.shrinks)
        std::fputs(fuzz::print(program).c_str(), stdout);
    if (!options.folder.empty())
        std::ofstream(options.folder + "/seed-" + std::to_string(seed) + "-width-" +
                      std::to_string(width) + ".metal")
            << "// " << line.str() << fuzz::print(program);
    std::fflush(stdout);
}

/// How many programs failed.
std::size_t checkAll(unsigned width, const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    std::size_t failures = 0;
    std::size_t skipped = 0;
    fuzz::runIsolated(
        options.count, [&] { fuzz::warmUp(width); },
        [&](std::size_t i) { return fuzz::check(fuzz::generate(options.seed + i)); },
        [&](std::size_t i, const std::string& result) {
            if (kindOf(result) == "skipped") {
                ++skipped;
            } else if (!result.empty()) {
                ++failures;
                showFailure(options.seed + i, width, result, options);
            }
        });
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::printf("width %u: %zu programs, %zu failed, %zu skipped; %.1f programs a second\n", width,
                options.count, failures, skipped,
                static_cast<double>(options.count) / time.count());
    std::fflush(stdout);
    return failures;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    if (options.prints && options.count == 1)
        std::fputs(fuzz::print(fuzz::generate(options.seed)).c_str(), stdout);
    std::size_t failures = 0;
    for (const unsigned width : options.widths)
        failures += checkAll(width, options);
    return failures > 0 ? 1 : 0;
}
