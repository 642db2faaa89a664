// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Compares the compiler with an evaluator on random programs.
//
//     starloom-fuzz [--seed N] [--count M] [--width 32,16,8,4,1 | --vulkan] [--groups] [--rounding]
//                   [--sums] [--print] [--shrink] [--keep DIR]
//
// --vulkan has Mesa's software driver run them, which stands as width 0 in what is printed.
// Prints a line for each program that fails; --print its text as well, --shrink the smallest text
// that fails in the same way. --keep writes texts to DIR/seed-N-width-W.metal, with the line on
// top. --groups has threads work together, --rounding rounds numbers to half, --sums has loops add
// up numbers and tests for overflow.
#include "bench/fuzz/Check.h"
#include "bench/fuzz/Generator.h"
#include "bench/fuzz/Isolation.h"
#include "bench/fuzz/Printer.h"
#include "bench/fuzz/Shrinker.h"

#include <algorithm>
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
    fuzz::Features features;
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
        } else if (name == "--vulkan") {
            options.widths = {fuzz::onVulkan};
            options.features.aligned = true; // it rounds addresses down to that
        } else if (name == "--groups") {
            options.features.groups = true;
        } else if (name == "--rounding") {
            options.features.rounding = true;
        } else if (name == "--sums") {
            options.features.sums = true;
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

/// Much longer than any program takes on a busy machine.
constexpr int secondsPerProgram = 60;
/// So many programs are prepared at once, and then run width by width.
constexpr std::size_t batchSize = 32;

/// What went wrong, without the details that shrinking changes.
std::string kindOf(const std::string& result) {
    return result.substr(0, result.find(':'));
}

std::string checkAlone(const fuzz::Program& program, unsigned width) {
    std::string result;
    std::shared_ptr<const fuzz::Backend> backend;
    fuzz::runIsolated(
        1, secondsPerProgram,
        [&] {
            fuzz::warmUpFrontEnd();
            backend = fuzz::makeBackend(width);
        },
        [&](std::size_t) { return fuzz::Trial(program).run(*backend); },
        [&](std::size_t, const std::string& found) { result = found; });
    return result;
}

class Session {
public:
    explicit Session(const Options& options) : m_options(options) {}

    /// Returns how many programs failed.
    std::size_t run() {
        const std::size_t batches = (m_options.count + batchSize - 1) / batchSize;
        const int limit = secondsPerProgram * static_cast<int>(batchSize);
        fuzz::runIsolated(
            batches, limit, fuzz::warmUpFrontEnd, [&](std::size_t i) { return runBatch(i); },
            [&](std::size_t i, const std::string& results) {
                takeResults(i, results);
                m_done += sizeOf(i);
                if (i % 8 == 7) // a long run says how far it is
                    printSummary();
            });
        return m_failed;
    }

    void printSummary() const {
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - m_start;
        std::printf("%zu programs at %zu widths, %zu failed, %zu skipped; %.1f programs a second\n",
                    m_done, m_options.widths.size(), m_failed, m_skipped,
                    static_cast<double>(m_done) / time.count());
        std::fflush(stdout);
    }

private:
    static constexpr const char* whole = "whole\n";

    std::size_t sizeOf(std::size_t batch) const {
        return std::min(batchSize, m_options.count - batch * batchSize);
    }
    std::uint64_t seedOf(std::size_t batch, std::size_t index) const {
        return m_options.seed + batch * batchSize + index;
    }

    fuzz::Program generated(std::uint64_t seed) const {
        return fuzz::generate(seed, m_options.features);
    }

    /// A line for each program that did not succeed: its number in the batch, width and result.
    std::string runBatch(std::size_t batch) const {
        std::vector<fuzz::Trial> trials;
        trials.reserve(sizeOf(batch));
        for (std::size_t i = 0; i < sizeOf(batch); ++i)
            trials.emplace_back(generated(seedOf(batch, i)));
        std::ostringstream lines;
        lines << whole;
        for (const unsigned width : m_options.widths) {
            std::shared_ptr<const fuzz::Backend> backend;
            fuzz::runIsolated(
                trials.size(), secondsPerProgram, [&] { backend = fuzz::makeBackend(width); },
                [&](std::size_t i) { return trials[i].run(*backend); },
                [&](std::size_t i, const std::string& result) {
                    if (!result.empty())
                        lines << i << " " << width << " " << result << "\n";
                });
        }
        return lines.str();
    }

    void takeResults(std::size_t batch, const std::string& results) {
        if (!results.starts_with(whole)) { // the front end or the evaluator fails, for one of them
            for (std::size_t i = 0; i < sizeOf(batch); ++i)
                take(seedOf(batch, i), m_options.widths[0],
                     checkAlone(generated(seedOf(batch, i)), m_options.widths[0]));
            return;
        }
        std::istringstream lines(results.substr(std::strlen(whole)));
        std::size_t index = 0;
        unsigned width = 0;
        for (std::string result; lines >> index >> width && std::getline(lines >> std::ws, result);)
            take(seedOf(batch, index), width, result);
    }

    void take(std::uint64_t seed, unsigned width, const std::string& result) {
        if (kindOf(result) == "skipped") {
            ++m_skipped;
        } else if (!result.empty()) {
            ++m_failed;
            showFailure(seed, width, result);
        }
    }

    void showFailure(std::uint64_t seed, unsigned width, std::string result) const {
        fuzz::Program program = generated(seed);
        if (m_options.shrinks) {
            program = fuzz::shrink(std::move(program), [&](const fuzz::Program& candidate) {
                return kindOf(checkAlone(candidate, width)) == kindOf(result);
            });
            result = checkAlone(program, width);
        }
        std::ostringstream line;
        line << "seed " << seed << ", width " << width << ", " << program.width << " x "
             << program.height << " threads: " << result << "\n";
        std::fputs(line.str().c_str(), stdout);
        if (m_options.prints || m_options.shrinks)
            std::fputs(fuzz::print(program).c_str(), stdout);
        if (!m_options.folder.empty())
            std::ofstream(m_options.folder + "/seed-" + std::to_string(seed) + "-width-" +
                          std::to_string(width) + ".metal")
                << "// " << line.str() << fuzz::print(program);
        std::fflush(stdout);
    }

    const Options& m_options;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::size_t m_done = 0;
    std::size_t m_failed = 0;
    std::size_t m_skipped = 0;
};

} // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    if (options.prints && options.count == 1)
        std::fputs(fuzz::print(fuzz::generate(options.seed, options.features)).c_str(), stdout);
    Session session(options);
    const std::size_t failed = session.run();
    session.printSummary();
    return failed > 0 ? 1 : 0;
}
